#pragma once
// The flow of sight lines through the openings between clusters.
//
// A line of sight from a cluster leaves it through one of its openings (the
// source) and crosses further openings, each once and each forwards, so
// every opening after the source lies partly in front of every opening
// before it, and every one before partly behind it. A first, cheap pass
// floods from each opening through the openings that pass that test against
// it and against the one before: the clusters it "might see". The flow then
// follows the ways out of each cluster one by one, cutting each further
// opening down to the part that a line from the source through the part
// seen of the last opening can reach (the planes that separate the two),
// and the source down to the part from which the new opening can be seen.
// A way stops when nothing that all the openings on it might see is left
// unseen. A flow that takes more than FLOW_BUDGET steps from one source
// counts what its remaining ways might see as seen. Every cut keeps a margin
// of FLOW_EPSILON beyond its plane, so the sets are conservative.
#include "compiler/progress.h"
#include "compiler/vis_clusters.h"

#include <cstdint>
#include <deque>
#include <vector>

// Openings that the might-see flood from one opening enters before it gives
// up and counts every cluster.
constexpr size_t MIGHT_BUDGET = 256;
// Steps (openings entered) of the flow from one source opening.
constexpr int64_t FLOW_BUDGET = 32;
// Openings whose flows run side by side, knowing only earlier waves.
constexpr size_t FLOW_WAVE = 64;
// How far a cut or a test keeps what lies beyond its plane: the band of a
// plane, within which the line-of-sight test lets a point count on either
// side, and room for rounding.
constexpr double FLOW_EPSILON = 0.5;

// One bit per cluster: bit (c & 63) of word (c >> 6).
class CClusterSets {
public:
    CClusterSets(size_t count, int32_t clusters);
    size_t Words() const { return nWords; }
    uint64_t* Set(size_t i) { return &Bits[i * nWords]; }
    const uint64_t* Set(size_t i) const { return &Bits[i * nWords]; }

private:
    size_t nWords;
    std::vector<uint64_t> Bits;
};

inline bool HasCluster(const uint64_t* pSet, int32_t c) { return (pSet[c >> 6] >> (c & 63)) & 1u; }
inline void AddCluster(uint64_t* pSet, int32_t c) { pSet[c >> 6] |= uint64_t(1) << (c & 63); }

// What each opening might see, one set per opening; (*pGaveUp)[q] tells that
// the flood from opening q gave up and put in every cluster. Threads as given.
CClusterSets MightSee(const CFlowGraph& graph, int32_t threads, std::vector<uint8_t>* pGaveUp);

// What each opening sees, one set per opening. The flows run in waves of
// FLOW_WAVE openings, those that might see least first; a way through an
// opening whose flow ran in an earlier wave can only lead on to what that
// opening sees. The waves do not depend on the thread count, so neither do
// the sets. pProgress: null or a counter of openings.
CClusterSets FlowOpenings(const CFlowGraph& graph, int32_t threads, CProgress* pProgress);

// The flow from one source opening at a time, with the scratch space of one
// thread.
class COpeningFlow {
public:
    // 'known' holds the sets of the openings marked in bDone.
    COpeningFlow(const CFlowGraph& graph, const CClusterSets& might, const CClusterSets& known,
                 const std::vector<uint8_t>& bDone);

    // Fills *pSeen (Words() words) with the clusters that lines through
    // 'source' may reach.
    void FromOpening(int32_t source, uint64_t* pSeen);

private:
    // One opening on the way being followed.
    struct CLevel {
        int32_t Opening = -1;
        CWinding Source;                    // the part of the source that sees this far
        CWinding Pass;                      // the part seen of this opening
        std::vector<uint64_t> Might;        // what every opening so far might see
        std::vector<CFlowPlane> Separators; // between Source and Pass
    };
    // Follows the ways on from the opening at Levels[depth].
    void Enter(size_t depth);
    // Whether some cluster of the set is not yet seen.
    bool AnyUnseen(const std::vector<uint64_t>& set) const;

    const CFlowGraph& Graph;
    const CClusterSets& Might;
    const CClusterSets& Known;
    const std::vector<uint8_t>& bDone;
    // The way being followed, source first; a deque, as deeper levels are
    // added while the ones above are in use.
    std::deque<CLevel> Levels;
    std::vector<uint8_t> OnWay;         // per opening: on the way being followed
    uint64_t* pSeen = nullptr;          // the set being filled
    int64_t nSteps = 0;                 // of the current source
    std::vector<CFlowPlane> SourceCuts; // working space
    CWinding Scratch;
};
