// NEON kernels of geometry and resampling. The table starts as the reference one and
// replaces the kernels that have a vector form; each gives the reference's bytes.
#include "cpu/lumivaGeometry.h"
#include "simd/lumivaNeon.h"

namespace {

using namespace ilmv;

ilmvGeometryRows simdRows()
{
    ilmvGeometryRows rows = ilmvGeometryRowsC();
    return rows;
}

}  // namespace

const ilmvGeometryRows& ilmvGeometryRowsV()
{
    static const ilmvGeometryRows rows = simdRows();
    return rows;
}
