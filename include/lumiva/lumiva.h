/* Lumiva: computer-vision and image-processing library with per-operation choice of
 * reference, NEON, DSP and GPU implementations. Include this header only. */
#ifndef LUMIVA_H
#define LUMIVA_H

#include "lumiva/lumivaTypes.h"
#include "lumiva/lumivaApi.h"
#include "lumiva/lumivaDispatch.h"
#include "lumiva/lumivaMode.h"
#include "lumiva/lumivaMemory.h"
#include "lumiva/lumivaDsp.h"
#include "lumiva/lumivaGpu.h"
#include "lumiva/lumivaMserHandles.h"
#include "lumiva/lumivaColorTypes.h"
#include "lumiva/lumivaFamilies.h"

#endif
