#include "compiler/vis_flow.h"

#include "compiler/parallel_for.h"

#include <algorithm>

CClusterSets::CClusterSets(size_t count, int32_t clusters)
    : nWords((static_cast<size_t>(clusters) + 63) / 64), Bits(count * nWords, 0)
{
}

namespace {

// Whether a line may cross 'next' after 'before': some of 'next' lies in
// front of 'before' and some of 'before' behind 'next'.
bool MayFollow(const COpening& before, const COpening& next)
{
    return AnyAbove(next.Winding, before.Plane, -FLOW_EPSILON) &&
           AnyBelow(before.Winding, next.Plane, FLOW_EPSILON);
}

// MayFollow of each opening and each opening out of the cluster it leads
// to, worked out once: every flood that enters an opening asks the same.
class CFollowTable {
public:
    CFollowTable(const CFlowGraph& graph, int32_t threads) : First(graph.Openings.size() + 1, 0)
    {
        for (size_t p = 0; p < graph.Openings.size(); ++p)
            First[p + 1] = First[p] + graph.Leaving[static_cast<size_t>(graph.Openings[p].To)].size();
        bMay.resize(First.back());
        ParallelFor(
            static_cast<int64_t>(graph.Openings.size()), threads, [] { return 0; },
            [&](int&, int64_t p) {
                const COpening& before = graph.Openings[static_cast<size_t>(p)];
                const std::vector<int32_t>& leaving = graph.Leaving[static_cast<size_t>(before.To)];
                for (size_t j = 0; j < leaving.size(); ++j)
                    bMay[First[static_cast<size_t>(p)] + j] =
                        MayFollow(before, graph.Openings[static_cast<size_t>(leaving[j])]);
            });
    }
    // Whether the j-th opening out of the cluster that opening p leads to
    // may follow p.
    bool May(int32_t p, size_t j) const { return bMay[First[static_cast<size_t>(p)] + j] != 0; }

private:
    std::vector<size_t> First; // per opening, where its entries begin
    std::vector<uint8_t> bMay;
};

// The scratch space of one thread's floods. Found is per opening: 0 not
// met yet, ENTERED, or FAILS_SOURCE (it may not follow the source, whatever
// comes before it). Between floods it is all 0.
struct CFloodScratch {
    static constexpr uint8_t ENTERED = 1;
    static constexpr uint8_t FAILS_SOURCE = 2;
    std::vector<uint8_t> Found;
    std::vector<int32_t> Queue;
    std::vector<int32_t> Failed;
};

// Floods from 'source' through the openings that may follow both it and the
// one before, adding the clusters they lead to to *pSet. A
// flood that enters more than MIGHT_BUDGET openings puts every cluster in the
// set and returns true.
bool FloodMightSee(const CFlowGraph& graph, const CFollowTable& follows, int32_t source,
                   uint64_t* pSet, CFloodScratch* pScratch)
{
    std::vector<uint8_t>& found = pScratch->Found;
    std::vector<int32_t>& queue = pScratch->Queue;
    const COpening& first = graph.Openings[static_cast<size_t>(source)];
    queue.assign(1, source);
    pScratch->Failed.clear();
    found[static_cast<size_t>(source)] = CFloodScratch::ENTERED;
    AddCluster(pSet, first.To);
    bool bGaveUp = false;
    for (size_t next = 0; next < queue.size(); ++next) {
        // Once more than MIGHT_BUDGET openings are in the queue, the flood
        // is bound to enter too many: it gives up now rather than later.
        if (queue.size() > MIGHT_BUDGET) {
            for (int32_t c = 0; c < graph.ClusterCount; ++c)
                AddCluster(pSet, c);
            bGaveUp = true;
            break;
        }
        const int32_t p = queue[next];
        const COpening& before = graph.Openings[static_cast<size_t>(p)];
        const std::vector<int32_t>& leaving = graph.Leaving[static_cast<size_t>(before.To)];
        for (size_t j = 0; j < leaving.size(); ++j) {
            const int32_t r = leaving[j];
            const COpening& opening = graph.Openings[static_cast<size_t>(r)];
            if (found[static_cast<size_t>(r)] || r == Twin(p) || r == Twin(source) ||
                !follows.May(p, j))
                continue;
            if (!MayFollow(first, opening)) {
                found[static_cast<size_t>(r)] = CFloodScratch::FAILS_SOURCE;
                pScratch->Failed.push_back(r);
                continue;
            }
            found[static_cast<size_t>(r)] = CFloodScratch::ENTERED;
            AddCluster(pSet, opening.To);
            queue.push_back(r);
        }
    }
    for (const std::vector<int32_t>* pList : {&queue, &pScratch->Failed}) {
        for (const int32_t r : *pList)
            found[static_cast<size_t>(r)] = 0;
    }
    return bGaveUp;
}

} // namespace

CClusterSets MightSee(const CFlowGraph& graph, int32_t threads, std::vector<uint8_t>* pGaveUp)
{
    pGaveUp->assign(graph.Openings.size(), 0);
    CClusterSets sets(graph.Openings.size(), graph.ClusterCount);
    const CFollowTable follows(graph, threads);
    ParallelFor(
        static_cast<int64_t>(graph.Openings.size()), threads,
        [&] { return CFloodScratch{std::vector<uint8_t>(graph.Openings.size(), 0), {}, {}}; },
        [&](CFloodScratch& scratch, int64_t q) {
            (*pGaveUp)[static_cast<size_t>(q)] = FloodMightSee(
                graph, follows, static_cast<int32_t>(q), sets.Set(static_cast<size_t>(q)), &scratch);
        });
    return sets;
}

CClusterSets FlowOpenings(const CFlowGraph& graph, int32_t threads, CProgress* pProgress)
{
    std::vector<uint8_t> bGaveUp;
    const CClusterSets might = MightSee(graph, threads, &bGaveUp);
    const size_t count = graph.Openings.size();
    std::vector<int64_t> order(count);
    std::vector<int64_t> size(count, 0);
    for (size_t q = 0; q < count; ++q) {
        order[q] = static_cast<int64_t>(q);
        for (size_t w = 0; w < might.Words(); ++w)
            size[q] += __builtin_popcountll(might.Set(q)[w]);
    }
    std::stable_sort(order.begin(), order.end(), [&](int64_t a, int64_t b) {
        return size[static_cast<size_t>(a)] < size[static_cast<size_t>(b)];
    });

    CClusterSets seen(count, graph.ClusterCount);
    std::vector<uint8_t> bDone(count, 0);
    for (size_t start = 0; start < count; start += FLOW_WAVE) {
        const size_t end = std::min(count, start + FLOW_WAVE);
        ParallelFor(
            static_cast<int64_t>(end - start), threads,
            [&] { return COpeningFlow(graph, might, seen, bDone); },
            [&](COpeningFlow& flow, int64_t i) {
                const size_t q = static_cast<size_t>(order[start + static_cast<size_t>(i)]);
                // An opening whose might-see flood gave up keeps every
                // cluster: its flow would not get far within its budget.
                if (bGaveUp[q])
                    std::copy(might.Set(q), might.Set(q) + might.Words(), seen.Set(q));
                else
                    flow.FromOpening(static_cast<int32_t>(q), seen.Set(q));
                if (pProgress)
                    pProgress->Step();
            });
        for (size_t i = start; i < end; ++i)
            bDone[static_cast<size_t>(order[i])] = 1;
    }
    return seen;
}

COpeningFlow::COpeningFlow(const CFlowGraph& graph, const CClusterSets& might,
                           const CClusterSets& known, const std::vector<uint8_t>& bDone)
    : Graph(graph), Might(might), Known(known), bDone(bDone), OnWay(graph.Openings.size(), 0)
{
}

void COpeningFlow::FromOpening(int32_t source, uint64_t* pSet)
{
    pSeen = pSet;
    std::fill(pSet, pSet + Might.Words(), 0);
    AddCluster(pSet, Graph.Openings[static_cast<size_t>(source)].To);
    if (Levels.empty())
        Levels.emplace_back();
    CLevel& first = Levels[0];
    first.Opening = source;
    first.Source = Graph.Openings[static_cast<size_t>(source)].Winding;
    first.Pass = first.Source;
    const uint64_t* pMight = Might.Set(static_cast<size_t>(source));
    first.Might.assign(pMight, pMight + Might.Words());
    nSteps = 0;
    OnWay[static_cast<size_t>(source)] = 1;
    Enter(0);
    OnWay[static_cast<size_t>(source)] = 0;
}

bool COpeningFlow::AnyUnseen(const std::vector<uint64_t>& set) const
{
    for (size_t w = 0; w < set.size(); ++w) {
        if (set[w] & ~pSeen[w])
            return true;
    }
    return false;
}

void COpeningFlow::Enter(size_t depth)
{
    if (Levels.size() <= depth + 1)
        Levels.emplace_back();
    CLevel& at = Levels[depth];
    CLevel& next = Levels[depth + 1];
    const COpening& source = Graph.Openings[static_cast<size_t>(Levels[0].Opening)];
    const COpening& pass = Graph.Openings[static_cast<size_t>(at.Opening)];
    at.Separators.clear();
    if (depth > 0)
        AddSeparators(at.Source, at.Pass, &at.Separators);
    for (const int32_t r : Graph.Leaving[static_cast<size_t>(pass.To)]) {
        const COpening& target = Graph.Openings[static_cast<size_t>(r)];
        if (OnWay[static_cast<size_t>(r)] || OnWay[static_cast<size_t>(Twin(r))] ||
            !HasCluster(at.Might.data(), target.To))
            continue;
        const uint64_t* pMight = bDone[static_cast<size_t>(r)] ? Known.Set(static_cast<size_t>(r))
                                                               : Might.Set(static_cast<size_t>(r));
        next.Might.resize(at.Might.size());
        for (size_t w = 0; w < next.Might.size(); ++w)
            next.Might[w] = at.Might[w] & pMight[w];
        if (HasCluster(pSeen, target.To) && !AnyUnseen(next.Might))
            continue; // nothing new down this way

        // The part of the target that a line from the source through the
        // pass reaches...
        next.Pass = target.Winding;
        Clip(&next.Pass, source.Plane, FLOW_EPSILON, &Scratch);
        if (depth > 0)
            Clip(&next.Pass, pass.Plane, FLOW_EPSILON, &Scratch);
        for (size_t s = 0; s < at.Separators.size() && next.Pass.size() >= 3; ++s)
            Clip(&next.Pass, at.Separators[s], FLOW_EPSILON, &Scratch);
        if (next.Pass.size() < 3)
            continue;
        // ...and the part of the source that sees it through the pass.
        next.Source = at.Source;
        Clip(&next.Source, target.Plane.Flipped(), FLOW_EPSILON, &Scratch);
        if (depth > 0 && next.Source.size() >= 3) {
            SourceCuts.clear();
            AddSeparators(next.Pass, at.Pass, &SourceCuts);
            for (size_t s = 0; s < SourceCuts.size() && next.Source.size() >= 3; ++s)
                Clip(&next.Source, SourceCuts[s], FLOW_EPSILON, &Scratch);
        }
        if (next.Source.size() < 3)
            continue;

        AddCluster(pSeen, target.To);
        if (++nSteps > FLOW_BUDGET) {
            // Out of budget: what this way might see counts as seen.
            for (size_t w = 0; w < next.Might.size(); ++w)
                pSeen[w] |= next.Might[w];
            continue;
        }
        next.Opening = r;
        OnWay[static_cast<size_t>(r)] = 1;
        Enter(depth + 1);
        OnWay[static_cast<size_t>(r)] = 0;
    }
}
