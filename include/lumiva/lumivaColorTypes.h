/* Constants of the colour and channel functions. */
#ifndef LUMIVA_COLOR_TYPES_H
#define LUMIVA_COLOR_TYPES_H

/** Channels of lmvChannelExtractu8: numbered, colour, and luma/chroma ranges. */
enum {
    LUMIVA_CHANNEL_0 = 0,
    LUMIVA_CHANNEL_1 = 1,
    LUMIVA_CHANNEL_2 = 2,
    LUMIVA_CHANNEL_R = 3,
    LUMIVA_CHANNEL_G = 4,
    LUMIVA_CHANNEL_B = 5,
    LUMIVA_CHANNEL_A = 6,
    LUMIVA_CHANNEL_Y = 7,
    LUMIVA_CHANNEL_U = 8,
    LUMIVA_CHANNEL_V = 9
};

/** Source formats of lmvChannelExtractu8. */
enum {
    LUMIVA_FORMAT_RGB888 = 0,
    LUMIVA_FORMAT_RGBA8888 = 1,
    LUMIVA_FORMAT_NV12 = 2, /**< Y plane, then interleaved chroma, Cb first */
    LUMIVA_FORMAT_NV21 = 3, /**< as NV12 with Cr first */
    LUMIVA_FORMAT_UYVY = 4,
    LUMIVA_FORMAT_YUYV = 5,
    LUMIVA_FORMAT_IYUV = 6, /**< three planes, chroma of half width and height */
    LUMIVA_FORMAT_YUV4 = 7  /**< three full planes */
};

#endif
