// The settings layer's unit for hosts: fields, sets, links, sources and the
// design-time adapters.
#pragma once

#include "settings/IDEConst.h"
#include "settings/PropFieldProperty.h"
#include "settings/PropFields.h"
#include "settings/PropSets.h"
