// Index setters: each writes one implementation index into a set of slots of the
// choice tables, never the function tables. Stores stop at the record's counts, so a
// shorter caller's record is written only as far as it reaches.
#include "core/lumivaModeLists.h"
#include "core/lumivaCore.h"
#include "lumiva/lumivaMode.h"



namespace {

enum SetterResult { kDone = 0, kNoRecord = 1, kNoImplTable = 2, kNoInternalTable = 3, kNoColumn = 4 };


int checkRecord(const LMV_FUNC_MANAGER* m, uint32_t index, bool touchesInternal)
{
    if (!m) return kNoRecord;
    if (!m->implTable) return kNoImplTable;
    if (touchesInternal && !m->internalImplTable) return kNoInternalTable;
    if (m->implCount <= index) return kNoColumn;
    return kDone;
}

// A slot that has a reference form is never pointed at a column that holds none: its
// entry function would call through a null pointer. Slots without any form yet keep the
// fixed lists as they are (nothing can call them).
bool columnServes(const LMV_FUNC_PTR* table, uint32_t implCount, uint32_t slot, uint32_t index)
{
    if (!table) return true;
    const LMV_FUNC_PTR* row = table + size_t(slot) * implCount;
    return !row[LMV_IMPL_C] || row[index];
}

void setApi(LMV_FUNC_MANAGER* m, uint32_t slot, uint32_t index)
{
    if (slot < m->apiCount && columnServes(m->funcTable, m->implCount, slot, index)) m->implTable[slot] = index;
}

template <size_t N>
void setInternal(LMV_FUNC_MANAGER* m, const ILMV_SLOT_RANGE (&ranges)[N], uint32_t index)
{
    for (const ILMV_SLOT_RANGE& r : ranges)
        for (uint32_t slot = r.first; slot <= r.last; ++slot)
            if (slot < m->internalCount && columnServes(m->internalFuncTable, m->implCount, slot, index))
                m->internalImplTable[slot] = index;
}

template <size_t N>
void setList(LMV_FUNC_MANAGER* m, const uint16_t (&slots)[N], uint32_t index)
{
    for (uint16_t slot : slots) setApi(m, slot, index);
}

void setRanges(LMV_FUNC_MANAGER* m, const ILMV_SLOT_RANGE* ranges, size_t count, uint32_t index)
{
    for (size_t r = 0; r < count; ++r)
        for (uint32_t slot = ranges[r].first; slot <= ranges[r].last; ++slot) setApi(m, slot, index);
}

// Index into every slot that has a remote form, and into the internal slots the DSP serves.
int setDspCapable(LMV_FUNC_MANAGER* m, uint32_t index)
{
    if (int check = checkRecord(m, index, true)) return check;
    for (size_t i = 0; i < ilmvApiFormCount; ++i)
        if (ilmvIsDspCapable(ilmvApiForms[i])) setApi(m, ilmvApiForms[i].slot, index);
    setInternal(m, ilmvInternalDspRanges, index);
    return kDone;
}

// The hardware mode tables move a fixed list to the CDSP form, once the DSP is usable.
int setCdspRanges(LMV_FUNC_MANAGER* m, int32_t mode, const ILMV_SLOT_RANGE* ranges, size_t count)
{
    if (!m || !m->implTable || !m->internalImplTable || !(lmvAvailableHardware(mode) & LUMIVA_HW_DSP) ||
        m->implCount < 6)
        return kNoRecord;
    setInternal(m, ilmvInternalCdspRanges, LMV_IMPL_XC);
    setRanges(m, ranges, count, LMV_IMPL_XC);
    return kDone;
}

}  // namespace

extern "C" {

LMV_EXPORT int uVIndex(void)
{
    for (size_t i = 0; i < ilmvApiFormCount; ++i)
        if (ilmvApiForms[i].forms[LMV_IMPL_V]) lmvImplTable[ilmvApiForms[i].slot] = LMV_IMPL_V;
    for (const ILMV_SLOT_RANGE& r : ilmvInternalSimdRanges)
        for (uint32_t slot = r.first; slot <= r.last; ++slot) lmvInternalImplTable[slot] = LMV_IMPL_V;
    return kDone;
}

LMV_EXPORT int uXIndex(LMV_FUNC_MANAGER* manager)
{
    return setDspCapable(manager, LMV_IMPL_X);
}

LMV_EXPORT int uXacmIndex(LMV_FUNC_MANAGER* manager, uint32_t domain)
{
    if (domain < LMV_IMPL_XA || domain > LMV_IMPL_XM)
        return manager ? kNoColumn : kNoRecord;
    return setDspCapable(manager, domain);
}

LMV_EXPORT int uGIndex(LMV_FUNC_MANAGER* manager)
{
    if (int check = checkRecord(manager, LMV_IMPL_G, false)) return check;
    setList(manager, ilmvGpuSlots, LMV_IMPL_G);
    return kDone;
}

LMV_EXPORT int uHWLowPowerModeTable(LMV_FUNC_MANAGER* manager)
{
    return setCdspRanges(manager, 0, ilmvLowPowerRanges, ilmvLowPowerRangeCount);
}

LMV_EXPORT int uXCpuOffloadModeTable(LMV_FUNC_MANAGER* manager)
{
    return setCdspRanges(manager, 2, ilmvCpuOffloadRanges, ilmvCpuOffloadRangeCount);
}

LMV_EXPORT int uHWPerformanceModeTable(LMV_FUNC_MANAGER* m)
{
    if (!m || !m->implTable || !m->internalImplTable)
        return kNoRecord;
    uint32_t hardware = lmvAvailableHardware(1);
    if ((hardware & LUMIVA_HW_DSP) && m->implCount >= 6) {
        setInternal(m, ilmvInternalCdspRanges, LMV_IMPL_XC);
        setList(m, ilmvPerformanceDspSlots, LMV_IMPL_XC);
    }
    if ((hardware & LUMIVA_HW_GPU) && m->implCount >= 4 && m->apiCount >= 2)
        setList(m, ilmvPerformanceGpuSlots, LMV_IMPL_G);
    return kDone;
}

}  // extern "C"
