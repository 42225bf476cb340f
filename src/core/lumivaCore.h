// Internals shared by the dispatch core: the generated registry of forms, the record
// in force and the hardware mask.
#ifndef LUMIVA_CORE_H
#define LUMIVA_CORE_H

#include "lumiva/lumivaDispatch.h"

// One operation: its slot and its implementation per column (null where none exists).
struct ILMV_IMPL_ROW {
    uint32_t slot;
    LMV_FUNC_PTR forms[LMV_IMPL_COUNT];
};

extern const ILMV_IMPL_ROW ilmvApiForms[];
extern const size_t ilmvApiFormCount;
// Forms of the internal slots, ended by a row whose slot is LMV_INTERNAL_COUNT.
extern const ILMV_IMPL_ROW ilmvInternalForms[];
// Operation name of every API slot; null for the reserved slots.
extern const char* const ilmvApiNames[LMV_API_COUNT];

// The record in force (normally the master function manager), and the master itself.
LMV_FUNC_MANAGER* ilmvManager();
LMV_FUNC_MANAGER* ilmvMasterManager();
// Fills the master record with the library's own tables and puts it in force.
void ilmvInstallMasterManager();


// True when the slot has a remote DSP form in any domain.
bool ilmvIsDspCapable(const ILMV_IMPL_ROW& row);

#endif
