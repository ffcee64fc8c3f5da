#include "compiler/visibility.h"

#include "compiler/portal.h"
#include "frame/error.h"
#include "platform/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The flood's log, opened once for appending and written in large blocks.
// The file ends up the same as with one open, write and close per record.
class CVisLog {
public:
    CVisLog()
    {
        const std::string mapped = MapPath(VIS_LOG_PATH);
        const std::string found = FindFileNoCase(mapped);
        hFile = ::open((found.empty() ? mapped : found).c_str(),
                       O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    ~CVisLog()
    {
        Flush();
        if (hFile >= 0)
            ::close(hFile);
    }
    CVisLog(const CVisLog&) = delete;
    CVisLog& operator=(const CVisLog&) = delete;

    void WriteRecord(const CBuildNode* pNode)
    {
        if (hFile < 0)
            return;
        char text[64];
        const int length = std::snprintf(text, sizeof(text), "Node:\n\tFaces:%d\n\tPortals:%d\n",
                                         static_cast<int>(pNode->FaceCount),
                                         static_cast<int>(pNode->PortalCount));
        Buffer.append(text, static_cast<size_t>(length));
        if (Buffer.size() >= FLUSH_SIZE)
            Flush();
    }

private:
    static constexpr size_t FLUSH_SIZE = 64 * 1024;

    void Flush()
    {
        if (hFile >= 0 && !Buffer.empty()) {
            ssize_t nWritten = ::write(hFile, Buffer.data(), Buffer.size());
            (void)nWritten; // log writes are not checked
        }
        Buffer.clear();
    }

    int hFile = -1;
    std::string Buffer;
};

// One node of the flood in progress: the next step k runs over both sides of
// each portal, portal k / 2, side k % 2.
struct CFloodFrame {
    CBuildNode* pNode;
    int32_t k;
};

enum class CWalkOrder { In, Pre, Post };

// One node of a walk in progress. Stage 0: nothing done yet; 1: the back
// subtree done; 2: the front subtree done too.
struct CWalkFrame {
    CBuildNode* pNode;
    int stage;
};

void Walk(CBuildNode* pNode, CNodeVisit pfVisit, void* context, CWalkOrder order)
{
    if (!pNode || !pfVisit)
        return;
    std::vector<CWalkFrame> stack;
    stack.push_back({pNode, 0});
    while (!stack.empty()) {
        // The frame is copied out: pushing a child may move the stack.
        const CWalkFrame frame = stack.back();
        CBuildNode* pCurrent = frame.pNode;
        switch (frame.stage) {
        case 0:
            stack.back().stage = 1;
            if (order == CWalkOrder::Pre)
                pfVisit(pCurrent, context);
            if (pCurrent->pBack)
                stack.push_back({pCurrent->pBack, 0});
            break;
        case 1:
            stack.back().stage = 2;
            if (order == CWalkOrder::In)
                pfVisit(pCurrent, context);
            if (pCurrent->pFront)
                stack.push_back({pCurrent->pFront, 0});
            break;
        default:
            stack.pop_back();
            if (order == CWalkOrder::Post)
                pfVisit(pCurrent, context);
            break;
        }
    }
}

} // namespace

void SetVisibility(CBuildNode* pRoot, const CVector* pStart)
{
    // Opening for writing empties the log of an earlier flood.
    const int hLog = CreateFileWrite(VIS_LOG_PATH);
    if (hLog >= 0)
        ::close(hLog);

    CBuildNode* pStartNode = FindLeaf(pRoot, pStart);
    if (!pStartNode)
        throw CError("Start location is not in the tree.");
    FloodLeaf(pStartNode);
}

CBuildNode* FindLeaf(CBuildNode* pNode, const CVector* pPoint)
{
    if (!pNode || !pPoint)
        return nullptr;
    for (;;) {
        const float d = static_cast<float>(pNode->Plane.DistanceTo(*pPoint));
        CBuildNode* pNext = d <= -PLANE_EPSILON ? pNode->pBack : pNode->pFront;
        if (!pNext)
            return pNode;
        pNode = pNext;
    }
}

void FloodLeaf(CBuildNode* pNode)
{
    if (!pNode || pNode->bVisited)
        return;

    CVisLog log;
    std::vector<CFloodFrame> stack;
    // A node is recorded and marked when it is first reached, before any of
    // its neighbours, exactly as the recursive flood does on entry.
    auto enter = [&](CBuildNode* pEntered) {
        log.WriteRecord(pEntered);
        pEntered->bVisited = true;
        stack.push_back({pEntered, 0});
    };
    enter(pNode);

    while (!stack.empty()) {
        CFloodFrame& frame = stack.back();
        CBuildNode* pCurrent = frame.pNode;
        if (frame.k >= 2 * pCurrent->PortalCount) {
            stack.pop_back();
            continue;
        }
        const int32_t k = frame.k++;
        // FreePortals nulls the pointers of a leaf; such an entry joins nothing.
        const CPortal* pPortal = pCurrent->pPortals ? pCurrent->pPortals[k / 2] : nullptr;
        if (!pPortal || pPortal->bBlocked)
            continue;
        CBuildNode* pNext = pPortal->pNodes[k % 2];
        if (pNext && !pNext->bVisited)
            enter(pNext); // frame is not used past this point
    }
}

void PruneLeaves(CBuildNode* pNode)
{
    if (!pNode)
        return;
    for (CBuildNode** ppChild : {&pNode->pFront, &pNode->pBack}) {
        if (*ppChild && (*ppChild)->pFaces && !(*ppChild)->bVisited)
            FreeTree(ppChild);
    }
}

void WalkInOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context)
{
    Walk(pNode, pfVisit, context, CWalkOrder::In);
}

void WalkPreOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context)
{
    Walk(pNode, pfVisit, context, CWalkOrder::Pre);
}

void WalkPostOrder(CBuildNode* pNode, CNodeVisit pfVisit, void* context)
{
    Walk(pNode, pfVisit, context, CWalkOrder::Post);
}

void WalkPath(CBuildNode* pNode, CNodeVisit pfVisit, void* context)
{
    if (!pfVisit)
        return;
    while (pNode)
        pNode = pfVisit(pNode, context) ? pNode->pFront : pNode->pBack;
}
