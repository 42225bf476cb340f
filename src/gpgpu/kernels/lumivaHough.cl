// Hough voting and peaks. Votes are counted with atomic increments, so they are the same
// whatever order the items run in; the per-vote arithmetic is the reference form's (f32
// products and sums, never fused, rounded half to even for lines; 64-bit fixed point for
// circles). Accumulators have a one-cell frame: rows of cols + 2 cells.
#pragma OPENCL FP_CONTRACT OFF

// Each non-zero pixel votes once per angle.
__kernel void HoughLineVote(__global const uchar* src, __global const float* trig, __global uint* votes, uint width,
                            uint height, uint srcStride, uint numAngle, uint numRho)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (!src[y * srcStride + x]) return;
    const int pitch = numRho + 2, centre = ((int)numRho - 1) / 2;
    __global const float* sinTab = trig;
    __global const float* cosTab = trig + numAngle;
    for (uint n = 0; n < numAngle; ++n) {
        const float along = (float)x * cosTab[n];
        const float across = (float)y * sinTab[n];
        const int r = convert_int_rte(along + across) + centre;
        atomic_inc(votes + (n + 1) * pitch + r + 1);
    }
    (void)width;
    (void)height;
}

// A cell above the threshold that beats the cells before it and is at least those after it.
uchar isPeak(__global const uint* votes, int at, int pitch, uint threshold)
{
    const uint v = votes[at];
    return v > threshold && v > votes[at - 1] && v >= votes[at + 1] && v > votes[at - pitch] && v >= votes[at + pitch];
}

__kernel void HoughLinePeaks(__global const uint* votes, __global uchar* peaks, uint numAngle, uint numRho,
                             uint threshold)
{
    const int r = get_global_id(0), n = get_global_id(1), pitch = numRho + 2;
    const int at = (n + 1) * pitch + r + 1;
    peaks[at] = isPeak(votes, at, pitch, threshold);
    (void)numAngle;
}

// One item per edge pixel: votes both ways along its unit direction (16-bit fixed point) at
// every radius, into the cell whose centre is nearest.
__kernel void HoughCircleVote(__global const uint* xy, __global const int* dir, __global uint* votes, uint count,
                              uint aw, uint ah, uint cellLow, uint cellHigh, uint minRadius, uint maxRadius)
{
    const int i = get_global_id(0);
    const long cell = (long)(((ulong)cellHigh << 32) | cellLow);
    const int pitch = aw + 2;
    for (long r = minRadius; r <= (long)maxRadius; ++r)
        for (int way = 0; way < 2; ++way) {
            if (way && !r) continue;
            const long step = way ? -r : r;
            const long px = ((long)xy[2 * i] << 16) + step * dir[2 * i] + cell / 2;
            const long py = ((long)xy[2 * i + 1] << 16) + step * dir[2 * i + 1] + cell / 2;
            if (px < 0 || py < 0) continue;
            const long cx = px / cell, cy = py / cell;
            if (cx >= aw || cy >= ah) continue;
            atomic_inc(votes + (cy + 1) * pitch + cx + 1);
        }
    (void)count;
}

__kernel void HoughCirclePeaks(__global const uint* votes, __global uchar* peaks, uint aw, uint ah, uint threshold)
{
    const int cx = get_global_id(0), cy = get_global_id(1), pitch = aw + 2;
    const int at = (cy + 1) * pitch + cx + 1;
    peaks[at] = isPeak(votes, at, pitch, threshold);
    (void)ah;
}
