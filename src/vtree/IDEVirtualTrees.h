// The virtual tree: a lazy tree and grid control over a skeleton of
// fixed-size nodes (see VTBaseTree.h for the model, VTWorker.h for the
// validation worker, VTStream.cpp for the stream format).
#pragma once

#include "vtree/VTBaseTree.h"
#include "vtree/VTDrawTree.h"
#include "vtree/VTStringTree.h"
#include "vtree/VTTypes.h"
