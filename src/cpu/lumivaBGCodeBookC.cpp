// The codebook background model: per-pixel lists of colour boxes, learnt frame by frame,
// used to classify foreground, pruned when stale. Codewords come from large blocks through
// a free list and are never freed one by one.
#include "core/lumivaEntry.h"
#include "cpu/lumivaBGCodeBook.h"
#include "platform/lumivaPlatform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kPath[] = "src/cpu/lumivaBGCodeBookC";
constexpr int32_t kBlockSize = 65408;

// A block of codeword storage: two links, then the free area.
struct Block {
    Block* prev;
    Block* next;
};

struct Storage {
    Block* bottom;
    Block* top;
    int32_t blockSize;
    int32_t freeSpace;
};

}  // namespace

struct lmvBGCodeBookModel {
    uint32_t width, height;
    int32_t t;
    uint8_t cbBounds[3], modMin[3], modMax[3];
    lmvBGCodeWord** cbMap;
    Storage* storage;
    lmvBGCodeWord* freeList;
    uint8_t* clamp;  // clamp[255 + v] is v clamped to 0..255
};

namespace {

void logNullStorage()
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "NULL storage pointer\n");
}

// Carves up to 1024 codewords from the current block (a new one when it is short) and
// chains them, in address order, into the free list.
void refillFreeList(lmvBGCodeBookModel& m)
{
    Storage& st = *m.storage;
    const int32_t numBlocks = std::min<int32_t>((st.blockSize - int32_t(sizeof(Block))) / int32_t(sizeof(lmvBGCodeWord)), 1024);
    if (!(numBlocks > 0)) ilmvHardStop(kPath, 328, "numBlocks > 0");
    const int32_t bytes = numBlocks * int32_t(sizeof(lmvBGCodeWord));
    if (!st.top || st.freeSpace < bytes) {
        Block* block = static_cast<Block*>(std::malloc(size_t(st.blockSize)));
        if (!block) {
            logNullStorage();
            ilmvHardStop(kPath, 444, "cwfreelist");
        }
        block->prev = st.top;
        block->next = nullptr;
        if (st.top) st.top->next = block;
        else st.bottom = block;
        st.top = block;
        st.freeSpace = st.blockSize - int32_t(sizeof(Block));
    }
    uint8_t* ptr = reinterpret_cast<uint8_t*>(st.top) + (st.blockSize - st.freeSpace);
    st.freeSpace = (st.freeSpace - bytes) & ~3;
    if (st.freeSpace % ((int32_t)sizeof(float32_t)) != 0)
        ilmvHardStop(kPath, 173, "st->free_space % ((int32_t)sizeof(float32_t)) == 0");
    if ((uintptr_t)ptr % ((int32_t)sizeof(float32_t)) != 0)
        ilmvHardStop(kPath, 176, "(uintptr_t)ptr % ((int32_t)sizeof(float32_t)) == 0");
    lmvBGCodeWord* words = reinterpret_cast<lmvBGCodeWord*>(ptr);
    for (int32_t i = 0; i < numBlocks; ++i) words[i].next = i + 1 < numBlocks ? &words[i + 1] : nullptr;
    m.freeList = words;
}

lmvBGCodeWord* takeCodeword(lmvBGCodeBookModel& m)
{
    if (!m.freeList) refillFreeList(m);
    lmvBGCodeWord* w = m.freeList;
    m.freeList = w->next;
    return w;
}

bool within(const uint8_t* lo, const uint8_t* hi, const uint8_t* p)
{
    return lo[0] <= p[0] && p[0] <= hi[0] && lo[1] <= p[1] && p[1] <= hi[1] && lo[2] <= p[2] && p[2] <= hi[2];
}

void learnPixel(lmvBGCodeBookModel& m, const uint8_t* p, lmvBGCodeWord*& head)
{
    uint8_t low[3], high[3];
    for (int c = 0; c < 3; ++c) {
        low[c] = m.clamp[255 + p[c] - m.cbBounds[c]];
        high[c] = m.clamp[255 + p[c] + m.cbBounds[c]];
    }
    bool matched = false;
    for (lmvBGCodeWord* w = head; w; w = w->next) {
        if (!matched && within(w->learnMin, w->learnMax, p)) {
            for (int c = 0; c < 3; ++c) {
                w->boxMin[c] = std::min(w->boxMin[c], p[c]);
                w->boxMax[c] = std::max(w->boxMax[c], p[c]);
                if (w->learnMax[c] < high[c]) ++w->learnMax[c];
                if (w->learnMin[c] > low[c]) --w->learnMin[c];
            }
            w->tLastUpdate = m.t;
            matched = true;
        }
        w->stale = std::max(w->stale, m.t - w->tLastUpdate);
    }
    if (matched) return;
    lmvBGCodeWord* w = takeCodeword(m);
    w->tLastUpdate = m.t;
    w->stale = 0;
    for (int c = 0; c < 3; ++c) {
        w->boxMin[c] = w->boxMax[c] = p[c];
        w->learnMin[c] = low[c];
        w->learnMax[c] = high[c];
    }
    w->next = head;
    head = w;
}

}  // namespace

lmvBGCodeWord** ilmvCodeBookCreate(uint32_t width, uint32_t height, lmvBGCodeBookModel** model)
{
    auto* m = static_cast<lmvBGCodeBookModel*>(std::calloc(1, sizeof(lmvBGCodeBookModel)));
    auto* st = static_cast<Storage*>(std::calloc(1, sizeof(Storage)));
    auto* clamp = static_cast<uint8_t*>(std::malloc(768));
    if (!m || !st || !clamp) {
        logNullStorage();
        std::free(m);
        std::free(st);
        std::free(clamp);
        return nullptr;
    }
    *m = {width, height, 0, {10, 10, 10}, {3, 1, 1}, {10, 1, 1}, nullptr, st, nullptr, clamp};
    st->blockSize = kBlockSize;
    for (int i = 0; i < 768; ++i) clamp[i] = static_cast<uint8_t>(i < 255 ? 0 : i < 511 ? i - 255 : 255);
    m->cbMap = static_cast<lmvBGCodeWord**>(std::calloc(size_t(width) * height + 1, sizeof(lmvBGCodeWord*)));
    if (!m->cbMap) ilmvHardStop(kPath, 272, "cbmodel->cbMap");
    *model = m;
    return m->cbMap;
}

void ilmvCodeBookConfig(lmvBGCodeBookModel* m, const uint8_t* cbBounds, const uint8_t* modMin, const uint8_t* modMax)
{
    if (!m) return;
    std::memcpy(m->cbBounds, cbBounds, 3);
    std::memcpy(m->modMin, modMin, 3);
    std::memcpy(m->modMax, modMax, 3);
}

void ilmvCodeBookUpdate(lmvBGCodeBookModel* m, const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                        const uint8_t* fgMask, uint32_t maskStride, lmvBGCodeWord** map, int32_t* updateTime)
{
    *updateTime = ++m->t;
    if (!srcStride) srcStride = width * 3;
    if (!maskStride) maskStride = width;
    // Pixels beyond the model have no lists to learn into.
    for (uint32_t y = 0; y < std::min(height, m->height); ++y)
        for (uint32_t x = 0; x < std::min(width, m->width); ++x) {
            if (fgMask && !fgMask[size_t(y) * maskStride + x]) continue;  // learning only where allowed
            learnPixel(*m, src + size_t(y) * srcStride + 3 * x, map[size_t(y) * m->width + x]);
        }
}

void ilmvCodeBookDiff(lmvBGCodeBookModel* m, const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                      uint8_t* fgMask, uint32_t maskStride, lmvBGCodeWord** map, uint32_t* count)
{
    if (!srcStride) srcStride = width * 3;
    if (!maskStride) maskStride = width;
    uint32_t foreground = width * height;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const uint8_t* p = src + size_t(y) * srcStride + 3 * x;
            uint8_t& out = fgMask[size_t(y) * maskStride + x];
            out = 255;
            // Pixels beyond the model have an empty list: foreground.
            const bool modelled = x < m->width && y < m->height;
            for (const lmvBGCodeWord* w = modelled ? map[size_t(y) * m->width + x] : nullptr; w; w = w->next) {
                bool covered = true;
                for (int c = 0; c < 3 && covered; ++c)
                    covered = int(w->boxMin[c]) - m->modMin[c] <= p[c] && p[c] <= int(w->boxMax[c]) + m->modMax[c];
                if (covered) {
                    out = 0;
                    --foreground;
                    break;
                }
            }
        }
    *count = height ? foreground : 0;
}

void ilmvCodeBookClearStale(lmvBGCodeBookModel* m, int32_t staleThresh, const uint8_t* fgMask, uint32_t width,
                            uint32_t height, uint32_t maskStride, lmvBGCodeWord** map)
{
    if (!maskStride) maskStride = width;
    for (uint32_t y = 0; y < std::min(height, m->height); ++y)
        for (uint32_t x = 0; x < std::min(width, m->width); ++x) {
            if (!fgMask[size_t(y) * maskStride + x]) continue;
            lmvBGCodeWord** link = &map[size_t(y) * m->width + x];
            while (lmvBGCodeWord* w = *link) {
                if (w->stale <= staleThresh) {
                    w->tLastUpdate = m->t;
                    w->stale = 0;
                    link = &w->next;
                    continue;
                }
                *link = w->next;  // unlinked, onto the free list
                w->next = m->freeList;
                m->freeList = w;
            }
        }
}

void ilmvCodeBookRelease(lmvBGCodeBookModel** model)
{
    if (!model || !*model) return;
    lmvBGCodeBookModel* m = *model;
    for (Block* b = m->storage->bottom; b;) {
        Block* next = b->next;
        std::free(b);
        b = next;
    }
    std::free(m->storage);
    std::free(m->clamp);
    std::free(m->cbMap);
    std::free(m);
    *model = nullptr;
}
