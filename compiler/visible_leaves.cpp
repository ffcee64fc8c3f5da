#include "compiler/visible_leaves.h"

#include "compiler/bit_words.h"
#include "compiler/light.h"
#include "compiler/tree_walk.h"

#include <algorithm>
#include <vector>

namespace {

// A point this far from a plane may count as on either side of it: the band,
// with room for the rounding of the sample positions.
constexpr double SAMPLE_REACH = PLANE_EPSILON + 0.01;

// Adds the reached leaves that the parallelogram of a grid's samples
// touches, band included, to *pOut.
void AddGridLeaves(const CBuildNode* pRoot, CLumelGrid& grid, const CLeafVisibility& visibility,
                   std::vector<int32_t>* pOut)
{
    const int32_t last = LUMEL_GRID_SIZE - 1;
    const CLumel* corners[4] = {GetLumel(&grid, 0, 0), GetLumel(&grid, last, 0),
                                GetLumel(&grid, 0, last), GetLumel(&grid, last, last)};
    if (std::find(std::begin(corners), std::end(corners), nullptr) != std::end(corners))
        return;
    const CVector points[4] = {corners[0]->Position, corners[1]->Position, corners[2]->Position,
                               corners[3]->Position};
    VisitLeavesNear(pRoot, points, 4, SAMPLE_REACH, [&](const CBuildNode* pLeaf) {
        const int32_t index = visibility.IndexOf(pLeaf);
        if (index >= 0)
            pOut->push_back(index);
    });
}

// Gives the leaf a list of its own: the leaves whose bits are set in
// 'reached', in their order.
void SetVisibleList(CBuildNode* pLeaf, const std::vector<uint64_t>& reached,
                    const std::vector<CBuildNode*>& leaves)
{
    int32_t listed = 0;
    for (const uint64_t word : reached)
        listed += __builtin_popcountll(word);
    pLeaf->pVisibleLeaves = new CBuildNode*[static_cast<size_t>(listed)];
    pLeaf->VisibleLeafCount = 0;
    pLeaf->bSharesVisibleLeaves = false;
    ForEachSetBit(reached.data(), reached.size(),
                  [&](size_t b) { pLeaf->pVisibleLeaves[pLeaf->VisibleLeafCount++] = leaves[b]; });
}

} // namespace

void FillVisibleLeaves(CBuildNode* pRoot, const CLeafVisibility& visibility)
{
    const std::vector<CBuildNode*>& leaves = visibility.Leaves();
    const size_t count = leaves.size();

    // Where each leaf's samples lie, and which leaves have samples in each.
    std::vector<std::vector<int32_t>> sampleLeaves(count);
    std::vector<std::vector<int32_t>> holders(count);
    for (size_t a = 0; a < count; ++a) {
        std::vector<int32_t>& list = sampleLeaves[a];
        list.push_back(static_cast<int32_t>(a));
        CBuildNode* pLeaf = leaves[a];
        for (int32_t g = 0; pLeaf->pGrids && g < pLeaf->FaceCount; ++g)
            AddGridLeaves(pRoot, pLeaf->pGrids[g], visibility, &list);
        std::sort(list.begin(), list.end());
        list.erase(std::unique(list.begin(), list.end()), list.end());
        for (const int32_t d : list)
            holders[static_cast<size_t>(d)].push_back(static_cast<int32_t>(a));
    }

    const size_t words = (count + 63) / 64;
    std::vector<uint64_t> seen(words);
    std::vector<uint64_t> reached(words);
    std::vector<uint64_t> lastReached;
    std::vector<uint64_t> lastSeen; // what the last leaf with a list of its own saw
    const CBuildNode* pLastList = nullptr; // the last leaf with a list of its own
    for (size_t a = 0; a < count; ++a) {
        // The leaves seen from where A's samples lie...
        std::fill(seen.begin(), seen.end(), 0);
        for (const int32_t c : sampleLeaves[a]) {
            const uint64_t* pRow = visibility.Row(c);
            for (size_t w = 0; w < words; ++w)
                seen[w] |= pRow[w];
        }
        // ...and the leaves with samples there: the last leaf's, when it saw
        // the same leaves.
        const bool bSameSeen = pLastList && seen == lastSeen;
        if (!bSameSeen) {
            std::fill(reached.begin(), reached.end(), 0);
            ForEachSetBit(seen.data(), words, [&](size_t d) {
                for (const int32_t b : holders[d])
                    reached[static_cast<size_t>(b) >> 6] |= uint64_t(1) << (b & 63);
            });
        }
        CBuildNode* pLeaf = leaves[a];
        if (!pLeaf->bSharesVisibleLeaves)
            delete[] pLeaf->pVisibleLeaves;
        // Where the flow finds no walls, leaf after leaf gets the same list:
        // one array serves them all, so memory stays linear in the leaves.
        if (bSameSeen || (pLastList && reached == lastReached)) {
            pLeaf->pVisibleLeaves = pLastList->pVisibleLeaves;
            pLeaf->VisibleLeafCount = pLastList->VisibleLeafCount;
            pLeaf->bSharesVisibleLeaves = true;
            continue;
        }
        SetVisibleList(pLeaf, reached, leaves);
        pLastList = pLeaf;
        lastReached.swap(reached);
        reached.resize(words);
        lastSeen = seen;
    }
}
