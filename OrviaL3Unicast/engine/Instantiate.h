// The engine's definitions. Included by the tables' source units only, which instantiate them for
// their traits; everyone else sees declarations.
#pragma once

#include "OrviaL3Unicast/engine/AllocatedRowTable-inl.h"
#include "OrviaL3Unicast/engine/EntryCollection-inl.h"
#include "OrviaL3Unicast/engine/EntryHandle-inl.h"
#include "OrviaL3Unicast/engine/HandleRegistry-inl.h"
#include "OrviaL3Unicast/engine/KeyRowTable-inl.h"
#include "OrviaL3Unicast/engine/NeededHandles-inl.h"
#include "OrviaL3Unicast/engine/PendingEntry-inl.h"
#include "OrviaL3Unicast/engine/RawHandleRegistry-inl.h"
#include "OrviaL3Unicast/engine/Restart-inl.h"
#include "OrviaL3Unicast/engine/TableBase-inl.h"
#include "OrviaL3Unicast/engine/UnresolvedEntry-inl.h"
#include "OrviaL3Unicast/engine/WritePath-inl.h"
