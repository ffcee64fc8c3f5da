#include "compiler/leak_check.h"

#include "compiler/visibility.h"

#include <algorithm>
#include <vector>

namespace {

// Far enough beyond the faces that no leaf of the inside reaches it.
constexpr float LEAK_PROBE_MARGIN = 64.0f;

struct CBounds {
    CVector Min, Max;
    bool bEmpty = true;
};

bool AddLeafFaces(CBuildNode* pNode, void* context)
{
    auto* pBounds = static_cast<CBounds*>(context);
    for (int32_t f = 0; pNode->IsLeaf() && f < pNode->FaceCount; ++f) {
        const CLeafFace& face = pNode->pFaces[f];
        for (int32_t v = 0; v < face.VertexCount; ++v) {
            const CVector& p = face.pVertices[v].Position;
            if (pBounds->bEmpty) {
                pBounds->Min = pBounds->Max = p;
                pBounds->bEmpty = false;
            }
            pBounds->Min = CVector(std::min(pBounds->Min.x, p.x), std::min(pBounds->Min.y, p.y),
                                   std::min(pBounds->Min.z, p.z));
            pBounds->Max = CVector(std::max(pBounds->Max.x, p.x), std::max(pBounds->Max.y, p.y),
                                   std::max(pBounds->Max.z, p.z));
        }
    }
    return true;
}

std::vector<CVector> Probes(const CBounds& bounds)
{
    const CVector lo = bounds.Min - CVector(LEAK_PROBE_MARGIN, LEAK_PROBE_MARGIN, LEAK_PROBE_MARGIN);
    const CVector hi = bounds.Max + CVector(LEAK_PROBE_MARGIN, LEAK_PROBE_MARGIN, LEAK_PROBE_MARGIN);
    const CVector mid = (lo + hi) * 0.5f;
    std::vector<CVector> probes;
    for (int i = 0; i < 8; ++i)
        probes.emplace_back(i & 1 ? hi.x : lo.x, i & 2 ? hi.y : lo.y, i & 4 ? hi.z : lo.z);
    probes.insert(probes.end(), {CVector(lo.x, mid.y, mid.z), CVector(hi.x, mid.y, mid.z),
                                 CVector(mid.x, lo.y, mid.z), CVector(mid.x, hi.y, mid.z),
                                 CVector(mid.x, mid.y, lo.z), CVector(mid.x, mid.y, hi.z)});
    return probes;
}

} // namespace

bool FindLeak(CBuildNode* pRoot, CVector* pWhere)
{
    CBounds bounds;
    WalkPreOrder(pRoot, AddLeafFaces, &bounds);
    if (bounds.bEmpty)
        return false;
    for (const CVector& probe : Probes(bounds)) {
        const CBuildNode* pLeaf = FindLeaf(pRoot, &probe);
        if (pLeaf && pLeaf->IsLeaf() && pLeaf->bVisited) {
            *pWhere = probe;
            return true;
        }
    }
    return false;
}
