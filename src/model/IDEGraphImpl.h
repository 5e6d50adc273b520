// The graph and tree model: nodes that are their own locations, the containers
// over them, their events, the batching model multicaster and the graph
// selections.
#pragma once

#include "model/IDEGraphImplContainers.h"
#include "model/IDEGraphImplEvents.h"
#include "model/IDEGraphImplNodes.h"
