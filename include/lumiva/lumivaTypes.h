/* Basic types shared by every public header of the library. */
#ifndef LUMIVA_TYPES_H
#define LUMIVA_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define LMV_EXPORT __declspec(dllexport)
#else
#define LMV_EXPORT __attribute__((visibility("default")))
#endif

typedef float float32_t;

/** Status codes returned by the operations that report one. */
typedef enum {
    LUMIVA_SUCCESS = 0,
    LUMIVA_BAD_PARAMS = 3,        /**< a null pointer, a zero size, a short stride or an unknown option */
    LUMIVA_NO_DEFAULT_DSP = 6,    /**< no default DSP domain was set */
    LUMIVA_DSP_RESTARTED = 104,   /**< the DSP subsystem restarted during the call */
    LUMIVA_UNSUPPORTED = 0x8000   /**< the chosen unit declines this call: run it on the CPU */
} LMV_STATUS;

/** What an arithmetic result that leaves the destination range becomes. An integer, so
 *  that any value can be passed: values other than the two below are refused (status 3). */
typedef int32_t LMV_OVERFLOW_POLICY;
enum {
    LUMIVA_OVERFLOW_WRAP = 0,     /**< truncated to the destination width */
    LUMIVA_OVERFLOW_SATURATE = 1  /**< clamped to the destination range */
};

/** What a neighbourhood filter does where its window leaves the image. An integer, so that
 *  any value can be passed: values other than the three below are refused (status 3). */
typedef int32_t LMV_BORDER_TYPE;
enum {
    LUMIVA_BORDER_UNDEFINED = 0,  /**< border pixels (whose window leaves the image) are not written */
    LUMIVA_BORDER_CONSTANT = 1,   /**< pixels outside the image take the call's borderValue */
    LUMIVA_BORDER_REPLICATE = 2   /**< pixels outside the image repeat the nearest edge pixel */
};

/** How a gradient's two components combine into one strength. An integer, so that any
 *  value can be passed: values other than the two below are refused (status 3). */
typedef int32_t LMV_NORM_TYPE;
enum {
    LUMIVA_NORM_L1 = 0,  /**< |dx| + |dy| */
    LUMIVA_NORM_L2 = 1   /**< sqrt(dx^2 + dy^2), compared squared */
};

/** How a resampling operation reads between source pixels. An integer, so that any value
 *  can be passed: an operation refuses (status 3, or its assertion) the values it does not take. */
typedef int32_t LMV_INTERPOLATION;
enum {
    LUMIVA_INTERPOLATION_NEAREST = 0,   /**< the nearest source pixel */
    LUMIVA_INTERPOLATION_BILINEAR = 1,  /**< the 2x2 neighbourhood, weighted by distance */
    LUMIVA_INTERPOLATION_AREA = 2,      /**< the mean of the source area an output covers */
    LUMIVA_INTERPOLATION_BICUBIC = 3    /**< the 4x4 neighbourhood under the A = -0.75 cubic */
};

/** Which way a flip mirrors the image. */
typedef int32_t LMV_FLIP_DIRECTION;
enum {
    LUMIVA_FLIP_HORIZONTAL = 1,  /**< left and right swap */
    LUMIVA_FLIP_VERTICAL = 2,    /**< top and bottom swap */
    LUMIVA_FLIP_BOTH = 3         /**< both: a half turn */
};

/** A clockwise rotation by a quarter turn's multiple. */
typedef int32_t LMV_ROTATE;
enum {
    LUMIVA_ROTATE_90 = 1,
    LUMIVA_ROTATE_180 = 2,
    LUMIVA_ROTATE_270 = 3
};

/** One level of a first-generation pyramid: rows packed, no stride. */
typedef struct {
    void* ptr;
    uint32_t width;
    uint32_t height;
} lmvPyramidLevel;

/** One level of a second-generation pyramid. */
typedef struct {
    void* ptr;
    uint32_t width;
    uint32_t height;
    uint32_t stride; /**< bytes between row starts */
} lmvPyramidLevel_v2;

/** One codeword of the background model: a colour box seen at a pixel and its learning bounds. */
typedef struct lmvBGCodeWord {
    struct lmvBGCodeWord* next; /**< next codeword of the same pixel */
    int32_t tLastUpdate;        /**< frame of the last update */
    int32_t stale;              /**< longest gap without an update */
    uint8_t boxMin[3], boxMax[3];
    uint8_t learnMin[3], learnMax[3];
} lmvBGCodeWord;

/** A codebook background model, created and released by the library. */
typedef struct lmvBGCodeBookModel lmvBGCodeBookModel;

/** A KD-tree over 36-byte descriptors, created and destroyed by the library. */
typedef struct lmvKDTree36s8f32 lmvKDTree36s8f32;

#endif
