/* Implementation tables, the choice of implementation per operation, and the
 * per-operation override calls. */
#ifndef LUMIVA_DISPATCH_H
#define LUMIVA_DISPATCH_H

#include "lumiva/lumivaApi.h"
#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Implementation index: the column of an implementation in every table. */
typedef enum {
    LMV_IMPL_C = 0,   /**< portable reference code, "CPU" */
    LMV_IMPL_V = 1,   /**< NEON code, "ORTAL" */
    LMV_IMPL_X = 2,   /**< remote DSP, domain chosen per call, "XDSP" */
    LMV_IMPL_G = 3,   /**< OpenCL GPU code, "GPU" */
    LMV_IMPL_XA = 4,  /**< remote DSP in the ADSP domain */
    LMV_IMPL_XC = 5,  /**< remote DSP in the CDSP domain */
    LMV_IMPL_XM = 6,  /**< remote DSP in the MDSP domain */
    LMV_IMPL_COUNT = 7
} LMV_IMPL;

/** The remote indices {2, 4, 5, 6} as a bit mask over the index. */
#define LMV_IMPL_REMOTE_MASK 0x74u

/** Selector of the override calls: 0 C, 1 V, 2 X, 3 G; 4 and above name no
 *  implementation. An integer, so that any value can be passed and refused. */
typedef uint32_t LMV_IMPL_ext;
enum {
    LMV_IMPL_EXT_C = 0,
    LMV_IMPL_EXT_V = 1,
    LMV_IMPL_EXT_X = 2,
    LMV_IMPL_EXT_G = 3,
    LMV_IMPL_EXT_NONE = 4
};

/** Presence bits of lmvIsPresentImpl. */
#define LMV_PRESENT_C 0x1u
#define LMV_PRESENT_V 0x2u
#define LMV_PRESENT_DSP 0x4u
#define LMV_PRESENT_GPU 0x8u

/** A table cell: any implementation function, cast back to its own type before a call. */
typedef void (*LMV_FUNC_PTR)(void);

/** Describes one set of tables; the library's own is the master function manager. */
typedef struct {
    uint32_t* implTable;              /**< chosen implementation per API slot */
    uint32_t apiCount;                /**< number of API slots */
    LMV_FUNC_PTR* funcTable;          /**< apiCount x implCount pointers, slot-major */
    uint32_t* internalImplTable;      /**< chosen implementation per internal slot */
    uint32_t internalCount;           /**< number of internal slots */
    LMV_FUNC_PTR* internalFuncTable;  /**< internalCount x implCount pointers, slot-major */
    uint32_t implCount;               /**< number of implementations */
} LMV_FUNC_MANAGER;

/** Function tables: the pointer of slot s in implementation i is word s * 7 + i. */
LMV_EXPORT extern LMV_FUNC_PTR lmvFuncTable[LMV_API_COUNT * LMV_IMPL_COUNT];
LMV_EXPORT extern LMV_FUNC_PTR lmvInternalFuncTable[LMV_INTERNAL_COUNT * LMV_IMPL_COUNT];
/** Chosen implementation index of each API and internal slot. */
LMV_EXPORT extern uint32_t lmvImplTable[LMV_API_COUNT];
LMV_EXPORT extern uint32_t lmvInternalImplTable[LMV_INTERNAL_COUNT];
/** Per API slot, the LMV_PRESENT_ bits of the implementations that exist. */
LMV_EXPORT extern uint32_t lmvIsPresentImpl[LMV_API_COUNT];
/** Implementation names printed by the runtime log: "CPU", "ORTAL", "XDSP", "GPU", "ADSP", "CDSP", "MDSP". */
LMV_EXPORT extern const char* lmvImplChar[LMV_IMPL_COUNT];

/** 1 by default; when 0 a remote choice is kept for any image. */
LMV_EXPORT extern uint32_t HW_constraint_checks_enable;
/** Set when the property "vendor.runtime.lumiva.log" is a non-zero number; read on every mode call. */
LMV_EXPORT extern uint8_t libLogPrint;

/**
 * Makes `record` the set of tables in force.
 * @return 0, or 1 (nothing changed) when the record or one of its four table pointers is null.
 */
LMV_EXPORT int lmvInitializeMasterFuncManager(LMV_FUNC_MANAGER* record);

/** Table fillers: each writes one column of both function tables; they return 0 on success. */
LMV_EXPORT int uCTable(uint32_t column);
LMV_EXPORT int uVTable(uint32_t column);
LMV_EXPORT int uXTable(LMV_FUNC_MANAGER* manager, uint32_t column);
LMV_EXPORT int uXaTable(LMV_FUNC_MANAGER* manager, uint32_t column);
LMV_EXPORT int uXcTable(LMV_FUNC_MANAGER* manager, uint32_t column);
LMV_EXPORT int uXmTable(LMV_FUNC_MANAGER* manager, uint32_t column);
LMV_EXPORT int uGTable(LMV_FUNC_MANAGER* manager, uint32_t column);

/**
 * Fills the DSP column of the default domain and the GPU column.
 * @return 1 when a table pointer is null, else the sum of the fillers' results.
 */
LMV_EXPORT int lmvTableHWInit(LMV_FUNC_PTR* funcTable, LMV_FUNC_PTR* internalFuncTable, int dspPresent,
                              int gpuPresent);

/**
 * Index setters. Each returns 0, 1 for a null record, 2 for a null implTable, 3 for a null
 * internalImplTable (setters that write internal slots), 4 when implCount does not exceed the
 * index it would write. Stores stop at the record's apiCount and internalCount.
 */
LMV_EXPORT int uVIndex(void);
LMV_EXPORT int uXIndex(LMV_FUNC_MANAGER* manager);
LMV_EXPORT int uXacmIndex(LMV_FUNC_MANAGER* manager, uint32_t domain);
LMV_EXPORT int uGIndex(LMV_FUNC_MANAGER* manager);
LMV_EXPORT int uHWLowPowerModeTable(LMV_FUNC_MANAGER* manager);
LMV_EXPORT int uHWPerformanceModeTable(LMV_FUNC_MANAGER* manager);
LMV_EXPORT int uXCpuOffloadModeTable(LMV_FUNC_MANAGER* manager);

/** 1 when implementation `ext` exists for `api`; 0 for ext 4 and above (logged). api >= 506 aborts. */
LMV_EXPORT int GetApiToCore(LMV_API_enum api, LMV_IMPL_ext ext);
/** Writes ext into the record's choice of `api` without testing presence; always 0. */
LMV_EXPORT int SetPreferredApiToCore(LMV_API_enum api, LMV_FUNC_MANAGER* manager, LMV_IMPL_ext ext);
/** Moves `api` to implementation `ext` when it exists; reports only through the log. api >= 506 aborts. */
LMV_EXPORT void lmvSetFunctionApiToCore(LMV_API_enum api, LMV_IMPL_ext ext);

/**
 * Sends a library message to the log under the tag of `file`'s last path component.
 * A non-zero `line` prefixes the text with "%4d| ".
 * @return what vsnprintf returned for the message.
 */
LMV_EXPORT int lmvLogAssert(const char* file, int line, int priority, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
