// A single KD-tree over unit vectors of 36 signed bytes: built by splitting at the mean of
// the dimension of greatest variance over a sample, searched best-bin-first with a bounded
// heap of branches and a budget of leaf checks.
#include "core/lumivaEntry.h"
#include "cpu/lumivaKDTree.h"
#include "platform/lumivaPlatform.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kPath[] = "src/cpu/lumivaKDTree36s8f32C";
constexpr int kDims = 36;
constexpr float32_t kInitialWorst = 123663.0f;
constexpr int kStackSize = 33;

struct Point {
    const int8_t* v;
    float32_t scale;
};

struct Dataset {
    int32_t count;
    Point* points;
};

struct Node {
    int32_t first;  // division dimension of an inner node, point index of a leaf
    float32_t value;
    int32_t child1, child2;
};

struct HeapEntry {
    int32_t node;
    float32_t bound;
};

struct ResultEntry {
    int32_t index;
    float32_t dist;
};

struct Tree {
    int32_t* index;  // the build's permutation, then the visit marks
    int32_t queryId;
    int32_t count;
    float32_t* mean;
    float32_t* variance;
    float32_t* sample;
    int32_t root;
    HeapEntry* heap;
    int32_t heapCapacity, heapCount;
    int32_t nodesUsed;
    Node* nodes;
    Dataset* dataset;
    int32_t k;
    int32_t level;
    float32_t initialWorst;
};

// The query's working state: the result set and the budget.
struct Search {
    Tree& tree;
    ilmvDot36Fn dot;
    const int8_t* q;
    float32_t sq;
    ResultEntry* result;
    int32_t last;  // index of the last valid entry, -1 when empty
    int32_t checks;
    int32_t maxChecks;
};

float32_t component(const Point& p, int d)
{
    return static_cast<float32_t>(p.v[d]) * p.scale;
}

void heapInsert(Tree& t, int32_t node, float32_t bound)
{
    if (t.heapCount + 1 >= t.heapCapacity) return;  // full: dropped silently
    int32_t i = ++t.heapCount;
    while (i > 1 && t.heap[i / 2].bound > bound) {
        t.heap[i] = t.heap[i / 2];
        i /= 2;
    }
    t.heap[i] = {node, bound};
}

HeapEntry heapPopMin(Tree& t)
{
    const HeapEntry top = t.heap[1];
    t.heap[1] = t.heap[t.heapCount--];
    for (int32_t i = 1;;) {
        int32_t smallest = i;
        const int32_t l = 2 * i, r = 2 * i + 1;
        if (l <= t.heapCount && t.heap[l].bound < t.heap[smallest].bound) smallest = l;
        if (r <= t.heapCount && t.heap[r].bound < t.heap[smallest].bound) smallest = r;
        if (smallest == i) break;
        std::swap(t.heap[i], t.heap[smallest]);
        i = smallest;
    }
    return top;
}

// Mean and (undivided) variance of every scaled component over index[start .. min(start+100, end)].
void meanAndVariance(Tree& t, int32_t start, int32_t end)
{
    const int32_t last = std::min(start + 100, end), count = last - start + 1;
    for (int d = 0; d < kDims; ++d) t.mean[d] = t.variance[d] = 0.0f;
    for (int32_t s = 0; s < count; ++s) {
        const Point& p = t.dataset->points[t.index[start + s]];
        for (int d = 0; d < kDims; ++d) {
            t.sample[s * kDims + d] = component(p, d);
            t.mean[d] += t.sample[s * kDims + d];
        }
    }
    const float32_t inverse = 1.0f / static_cast<float32_t>(count);
    for (int d = 0; d < kDims; ++d) t.mean[d] *= inverse;
    for (int32_t s = 0; s < count; ++s)
        for (int d = 0; d < kDims; ++d) {
            const float32_t dev = t.sample[s * kDims + d] - t.mean[d];
            t.variance[d] += dev * dev;
        }
}

// The five dimensions of largest variance in descending order (a dimension enters only when
// strictly greater, so ties keep the lower one first); the division is the first of them.
int selectDivision(const Tree& t)
{
    int top[5] = {-1, -1, -1, -1, -1};
    for (int d = 0; d < kDims; ++d)
        for (int slot = 0; slot < 5; ++slot) {
            if (top[slot] >= 0 && !(t.variance[d] > t.variance[top[slot]])) continue;
            for (int s = 4; s > slot; --s) top[s] = top[s - 1];
            top[slot] = d;
            break;
        }
    return top[0];
}

int32_t partition(Tree& t, int32_t start, int32_t end, int dim, float32_t value)
{
    int32_t i = start, j = end;
    while (i <= j) {
        if (component(t.dataset->points[t.index[i]], dim) < value) {
            ++i;
        } else {
            std::swap(t.index[i], t.index[j]);
            --j;
        }
    }
    return (i == start || i == end + 1) ? (start + end + 1) / 2 : i;
}

int32_t buildIndex(Tree& t, Dataset* dataset)
{
    t.dataset = dataset;
    const int32_t n = dataset->count;
    if (n == 0) return -2;
    t.heapCapacity = n + 1;
    t.heap = static_cast<HeapEntry*>(std::calloc(size_t(n) + 1, sizeof(HeapEntry)));
    t.index = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * size_t(n)));
    t.mean = static_cast<float32_t*>(std::malloc(sizeof(float32_t) * kDims));
    t.variance = static_cast<float32_t*>(std::malloc(sizeof(float32_t) * kDims));
    t.sample = static_cast<float32_t*>(std::malloc(15840));
    if (!t.heap || !t.index || !t.mean || !t.variance || !t.sample) return -1;
    // The shuffle's pick is fixed at position 0: index[i] = (i + 1) mod n.
    for (int32_t i = 0; i < n; ++i) t.index[i] = i;
    for (int32_t i = n - 1; i >= 0; --i) std::swap(t.index[i], t.index[0]);

    struct Pending {
        int32_t start, end;
        int32_t* slot;
    } stack[kStackSize];
    int top = 0;
    stack[0] = {0, n - 1, &t.root};
    while (top >= 0) {
        Pending& cur = stack[top];
        const int32_t nodeIndex = t.nodesUsed++;
        Node& node = t.nodes[nodeIndex];
        *cur.slot = nodeIndex;
        if (cur.start == cur.end) {
            node = {t.index[cur.start], 0.0f, -1, -1};
            --top;
            continue;
        }
        meanAndVariance(t, cur.start, cur.end);
        const int dim = selectDivision(t);
        node = {dim, t.mean[dim], -1, -1};
        const int32_t split = partition(t, cur.start, cur.end, dim, node.value);
        const int32_t start = cur.start;
        cur = {split, cur.end, &node.child2};
        if (top + 1 >= kStackSize) std::abort();  // deeper than the build's stack
        if (!(top < 2 * n - 1)) ilmvHardStop(kPath, 723, "callStack.top < callStack.maxSize - 1");
        stack[++top] = {start, split - 1, &node.child1};  // the left part first: pre-order numbering
    }
    std::free(t.mean);
    std::free(t.variance);
    std::free(t.sample);
    t.mean = t.variance = t.sample = nullptr;
    return 0;
}

float32_t distance(const Search& s, const Point& p)
{
    return std::fabs(2.0f - 2.0f * (s.sq * p.scale) * static_cast<float32_t>(s.dot(s.q, p.v)));
}

bool full(const Search& s)
{
    return s.last + 1 == s.tree.k;
}

float32_t worst(const Search& s)
{
    return full(s) ? s.result[s.last].dist : s.tree.initialWorst;
}

// Ascending by distance, equal distances by ascending index.
bool before(int32_t index, float32_t dist, const ResultEntry& e)
{
    return dist < e.dist || (dist == e.dist && index < e.index);
}

void addResult(Search& s, int32_t index, float32_t dist)
{
    if (full(s) && !before(index, dist, s.result[s.last])) return;
    int32_t pos = 0;
    while (pos <= s.last && !before(index, dist, s.result[pos])) ++pos;
    const int32_t end = full(s) ? s.last : s.last + 1;  // a full set drops its last entry
    for (int32_t i = end; i > pos; --i) s.result[i] = s.result[i - 1];
    s.result[pos] = {index, dist};
    s.last = end;
}

void searchLevel(Search& s, int32_t node, float32_t mindist)
{
    Tree& t = s.tree;
    if (worst(s) < mindist) return;
    while (t.nodes[node].child1 != -1) {
        ++t.level;
        const Node& n = t.nodes[node];
        const float32_t diff = static_cast<float32_t>(s.q[n.first]) * s.sq - n.value;
        const float32_t cut = mindist + diff * diff;
        const int32_t best = diff < 0 ? n.child1 : n.child2, other = diff < 0 ? n.child2 : n.child1;
        if (!(full(s) && cut >= worst(s))) heapInsert(t, other, cut);
        if (worst(s) < mindist) return;
        node = best;
    }
    const int32_t p = t.nodes[node].first;
    const bool visited = t.index[p] == t.queryId;
    if (visited && full(s)) return;
    if (!visited && s.checks >= s.maxChecks && full(s)) return;
    ++s.checks;
    t.index[p] = t.queryId;
    for (int32_t i = 0; i <= s.last; ++i)
        if (s.result[i].index == p) return;
    addResult(s, p, distance(s, t.dataset->points[p]));
}

void clearTree(Tree& t)
{
    std::free(t.index);
    std::free(t.mean);
    std::free(t.variance);
    std::free(t.sample);
    std::free(t.heap);
    t.index = nullptr;
    t.mean = t.variance = t.sample = nullptr;
    t.heap = nullptr;
}

}  // namespace

struct lmvKDTree36s8f32 {
    Tree* tree;
    Dataset* dataset;
};

int32_t ilmvDot36C(const int8_t* a, const int8_t* b)
{
    int32_t dot = 0;
    for (int d = 0; d < kDims; ++d) dot += a[d] * b[d];
    return dot;
}

void ilmvSquaredDiffs36(ilmvDot36Fn dot, const int8_t* a, float32_t invLengthA, const int8_t* const* b,
                        const float32_t* invLengthsB, uint32_t numB, float32_t* distances)
{
    for (uint32_t i = 0; i < numB; ++i)
        distances[i] = std::fabs(2.0f - 2.0f * (invLengthA * invLengthsB[i]) * static_cast<float32_t>(dot(a, b[i])));
}

int32_t ilmvKDTreeCreate(const int8_t* vectors, const float32_t* invLengths, int32_t numVectors,
                         lmvKDTree36s8f32** handle)
{
    auto* h = static_cast<lmvKDTree36s8f32*>(std::calloc(1, sizeof(lmvKDTree36s8f32)));
    if (!h) return 1;
    h->dataset = static_cast<Dataset*>(std::calloc(1, sizeof(Dataset)));
    const int32_t n = numVectors > 0 ? numVectors : 0;
    Point* points = static_cast<Point*>(std::calloc(size_t(n) + 1, sizeof(Point)));
    if (!h->dataset || !points) {
        std::free(points);
        std::free(h->dataset);
        std::free(h);
        return 1;
    }
    for (int32_t i = 0; i < n; ++i) points[i] = {vectors + size_t(i) * kDims, invLengths[i]};
    *h->dataset = {n, points};
    h->tree = static_cast<Tree*>(std::calloc(1, sizeof(Tree)));
    if (!h->tree) ilmvHardStop(kPath, 452, "KDTrees36s8f32_tree->pool");
    Tree& t = *h->tree;
    t.queryId = -1000;
    t.count = n;
    t.initialWorst = kInitialWorst;
    t.nodes = static_cast<Node*>(std::calloc(2 * size_t(n) + 1, sizeof(Node)));
    *handle = h;
    if (!t.nodes) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "NULL storage pointer\n");
        return -1;
    }
    if (buildIndex(t, h->dataset) == -1) clearTree(t);
    return 0;
}

int32_t ilmvKDTreeQuery(ilmvDot36Fn dot, lmvKDTree36s8f32* handle, const int8_t* query, float32_t queryInvLength,
                        int32_t maxNNs, float32_t maxDistance, int32_t maxChecks, uint32_t* numNNsFound,
                        uint32_t* NNInds, float32_t* NNDists)
{
    *numNNsFound = 0;
    Tree& t = *handle->tree;
    t.level = 0;
    if (t.count == 0 || !t.index || maxNNs < 1) return 0;
    ResultEntry* result = static_cast<ResultEntry*>(std::malloc(sizeof(ResultEntry) * size_t(maxNNs)));
    if (!result) ilmvHardStop(kPath, 1036, "newContents != __null");
    t.k = maxNNs;
    --t.queryId;
    t.heapCount = 0;
    Search s{t, dot, query, queryInvLength, result, -1, 0, maxChecks};
    searchLevel(s, t.root, 0.0f);
    while (t.heapCount > 0) {
        const HeapEntry e = heapPopMin(t);
        if (!(s.checks < maxChecks || !full(s))) break;
        searchLevel(s, e.node, e.bound);
    }
    uint32_t copied = 0;
    for (int32_t i = 0; i <= s.last && i < maxNNs; ++i) {
        if (result[i].dist >= maxDistance) break;  // the bound is strict
        NNDists[i] = result[i].dist;
        NNInds[i] = static_cast<uint32_t>(result[i].index);
        ++copied;
    }
    *numNNsFound = copied;
    std::free(result);
    return 0;
}

int32_t ilmvKDTreeDestroy(lmvKDTree36s8f32* handle)
{
    if (!handle) return 0;
    if (handle->tree) {
        clearTree(*handle->tree);
        std::free(handle->tree->nodes);
        std::free(handle->tree);
    }
    if (handle->dataset) std::free(handle->dataset->points);
    std::free(handle->dataset);
    std::free(handle);
    return 0;
}
