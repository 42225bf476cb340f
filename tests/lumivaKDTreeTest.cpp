// The KD-tree against brute-force search: exact at a large budget, recall growing with the
// budget, the ordering of equal distances, the strict distance bound and the k rule; the
// distance kernels of both forms alike.
#include "cpu/lumivaKDTree.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

struct Descriptors {
    std::vector<int8_t> v;
    std::vector<float32_t> inv;
    explicit Descriptors(int n, uint32_t seed, int clusters = 0)
    {
        std::mt19937 rng(seed);
        std::vector<int8_t> centres(36 * std::max(clusters, 1));
        for (auto& c : centres) c = int8_t(int(rng() % 255) - 127);
        for (int i = 0; i < n; ++i) {
            double norm = 0;
            for (int d = 0; d < 36; ++d) {
                int x = clusters ? centres[36 * (i % clusters) + d] + int(rng() % 31) - 15 : int(rng() % 255) - 127;
                x = std::clamp(x, -127, 127);
                v.push_back(int8_t(x));
                norm += double(x) * x;
            }
            inv.push_back(float32_t(1.0 / std::sqrt(std::max(norm, 1.0))));
        }
    }
};

std::vector<std::pair<float32_t, uint32_t>> bruteForce(const Descriptors& set, const int8_t* q, float32_t sq, size_t k)
{
    std::vector<std::pair<float32_t, uint32_t>> all;
    for (uint32_t i = 0; i < set.inv.size(); ++i) {
        const int8_t* b[1] = {&set.v[36 * i]};
        float32_t d = 0;
        lmvSumOfSquaredDiffs36xNs8C(q, sq, b, &set.inv[i], 1, &d);
        all.push_back({d, i});
    }
    std::sort(all.begin(), all.end());
    all.resize(std::min(k, all.size()));
    return all;
}

class KDTree : public TablesTest {};

TEST_F(KDTree, ExactAtALargeBudgetAndRecallGrowsWithIt)
{
    Descriptors set(2000, 1, 40), queries(50, 2, 40);
    lmvKDTree36s8f32* tree = nullptr;
    ASSERT_EQ(0, lmvKDTreeCreate36s8f32(set.v.data(), set.inv.data(), 2000, &tree));
    const int k = 5;
    double recall8 = 0, recall128 = 0, total = 0;
    for (int qi = 0; qi < 50; ++qi) {
        const int8_t* q = &queries.v[36 * qi];
        auto truth = bruteForce(set, q, queries.inv[qi], k);
        uint32_t found = 0, inds[k];
        float32_t dists[k];
        ASSERT_EQ(0, lmvKDTreeQuery36s8f32(tree, q, queries.inv[qi], k, 10.0f, 100000, nullptr, &found, inds, dists));
        ASSERT_EQ(uint32_t(k), found);
        for (int i = 0; i < k; ++i) {
            EXPECT_EQ(truth[i].second, inds[i]) << "query " << qi << " rank " << i;
            EXPECT_EQ(truth[i].first, dists[i]);
        }
        total += k;
        for (auto [budget, recall] : {std::pair{8, &recall8}, std::pair{128, &recall128}}) {
            lmvKDTreeQuery36s8f32(tree, q, queries.inv[qi], k, 10.0f, budget, nullptr, &found, inds, dists);
            for (uint32_t i = 0; i < found; ++i)
                for (auto& t : truth) *recall += t.second == inds[i];
        }
    }
    std::printf("recall at 8 checks %.2f, at 128 checks %.2f\n", recall8 / total, recall128 / total);
    EXPECT_LT(recall8, recall128);
    EXPECT_GT(recall128 / total, 0.3);
    EXPECT_EQ(0, lmvKDTreeDestroy36s8f32(tree));
}

TEST_F(KDTree, IdenticalDescriptorsComeBackInIndexOrder)
{
    // A descriptor whose distance to itself rounds above zero, so no branch is pruned and the
    // ordering of equal distances decides the result.
    uint32_t seed = 3;
    auto selfDistance = [](const Descriptors& d) {
        const int8_t* b[1] = {d.v.data()};
        float32_t dist = 0;
        lmvSumOfSquaredDiffs36xNs8C(d.v.data(), d.inv[0], b, d.inv.data(), 1, &dist);
        return dist;
    };
    while (selfDistance(Descriptors(1, seed)) == 0.0f) ++seed;
    Descriptors one(1, seed);
    std::vector<int8_t> vectors;
    std::vector<float32_t> inv;
    for (int i = 0; i < 40; ++i) {
        vectors.insert(vectors.end(), one.v.begin(), one.v.end());
        inv.push_back(one.inv[0]);
    }
    lmvKDTree36s8f32* tree = nullptr;
    ASSERT_EQ(0, lmvKDTreeCreate36s8f32(vectors.data(), inv.data(), 40, &tree));
    uint32_t found = 0, inds[8];
    float32_t dists[8];
    lmvKDTreeQuery36s8f32(tree, one.v.data(), one.inv[0], 8, 1.0f, 1000, nullptr, &found, inds, dists);
    ASSERT_EQ(8u, found);
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(i, inds[i]);
        EXPECT_LT(dists[i], 1e-5f);  // 2 - 2 s^2 |v|^2: the rounding residue, made non-negative
        EXPECT_GE(dists[i], 0.0f);
    }
    lmvKDTreeDestroy36s8f32(tree);
}

TEST_F(KDTree, BudgetBoundAndCount)
{
    Descriptors set(300, 4), queries(3, 5);
    lmvKDTree36s8f32* tree = nullptr;
    ASSERT_EQ(0, lmvKDTreeCreate36s8f32(set.v.data(), set.inv.data(), 300, &tree));
    uint32_t found = 0, inds[400];
    float32_t dists[400];
    lmvKDTreeQuery36s8f32(tree, queries.v.data(), queries.inv[0], 6, 10.0f, 0, nullptr, &found, inds, dists);
    EXPECT_EQ(6u, found);  // a budget of 0 still fills k
    lmvKDTreeQuery36s8f32(tree, queries.v.data(), queries.inv[0], 6, 0.0f, 1000, nullptr, &found, inds, dists);
    EXPECT_EQ(0u, found);  // the bound is strict
    lmvKDTreeQuery36s8f32(tree, queries.v.data(), queries.inv[0], 400, 10.0f, 100000, nullptr, &found, inds, dists);
    EXPECT_EQ(300u, found);
    lmvKDTreeQuery36s8f32(tree, &set.v[36 * 17], set.inv[17], 3, 10.0f, 1000, nullptr, &found, inds, dists);
    EXPECT_EQ(17u, inds[0]);
    EXPECT_LT(dists[0], 1e-5f);
    lmvKDTreeDestroy36s8f32(tree);

    lmvKDTree36s8f32* empty = nullptr;
    EXPECT_EQ(0, lmvKDTreeCreate36s8f32(set.v.data(), set.inv.data(), 0, &empty));
    lmvKDTreeQuery36s8f32(empty, queries.v.data(), queries.inv[0], 3, 10.0f, 10, nullptr, &found, inds, dists);
    EXPECT_EQ(0u, found);
    lmvKDTreeDestroy36s8f32(empty);
}

TEST(SquaredDiffs, BothFormsAndTheFormula)
{
    Descriptors set(64, 7);
    const int8_t* b[4];
    for (int base = 0; base < 60; base += 4) {
        for (int i = 0; i < 4; ++i) b[i] = &set.v[36 * (base + i + 1)];
        float32_t c[4], v[4], n[4];
        lmvSumOfSquaredDiffs36x4s8C(set.v.data(), set.inv[0], b[0], b[1], b[2], b[3], &set.inv[base + 1], c);
        lmvSumOfSquaredDiffs36x4s8V(set.v.data(), set.inv[0], b[0], b[1], b[2], b[3], &set.inv[base + 1], v);
        lmvSumOfSquaredDiffs36xNs8V(set.v.data(), set.inv[0], b, &set.inv[base + 1], 4, n);
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(c[i], v[i]);
            EXPECT_EQ(c[i], n[i]);
            int dot = 0;
            for (int d = 0; d < 36; ++d) dot += set.v[d] * b[i][d];
            EXPECT_EQ(std::fabs(2.0f - 2.0f * (set.inv[0] * set.inv[base + 1 + i]) * float32_t(dot)), c[i]);
        }
    }
}

}  // namespace
