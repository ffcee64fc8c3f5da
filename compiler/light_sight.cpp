#include "compiler/light_sight.h"

#include "compiler/clip.h"
#include "compiler/light.h"
#include "compiler/sight_step.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double BAND = static_cast<double>(PLANE_EPSILON);
// Beyond this size of coordinate the rounding of a crossing's distances could
// carry it past the ends of its piece; no fan there passes over a node, and
// no solid cell is taken to cast a shadow.
constexpr double SKIP_COORDINATE_LIMIT = 131072.0;
// How much deeper than the band and the rounding a segment must pass
// through a solid cell for the cell to stop it surely.
constexpr double SHADOW_SLACK = 0.01;
// Bounds of one BoxesSee call: pending pairs and pairs looked at.
constexpr int32_t BOX_STACK_SIZE = 48;
constexpr int32_t BOX_WORK_LIMIT = 512;
// Segments along a plane may be tried on both sides, this many times nested.
constexpr int32_t BOX_ALTERNATIVES = 4;
// LineOfSight's own stack; deeper trees fall back to a heap stack.
constexpr int32_t SIGHT_STACK_SIZE = 64;

// The boxes hold the ends of segments, which are float points (samples,
// sources and the walk's crossings), and their sides are worked out with the
// walk's own rounding of a distance to float. Each bound of a box is kept on
// a float value: rounding a bound inward to one loses no float point.
double FloatAtOrAbove(double value)
{
    float f = static_cast<float>(value);
    if (static_cast<double>(f) < value)
        f = std::nextafter(f, HUGE_VALF);
    return f;
}

double FloatAtOrBelow(double value)
{
    float f = static_cast<float>(value);
    if (static_cast<double>(f) > value)
        f = std::nextafter(f, -HUGE_VALF);
    return f;
}

// The lowest and highest distance of a box's points from a plane, each
// within `error` of the value that the walk computes in double for a point.
// Here and below a plane is a node's normal and distance in double (Exact).
struct CRange {
    double Low;
    double High;
    double Error;
};

[[gnu::always_inline]] inline CRange RangeOf(const double* plane, const CSightBox& box)
{
    const double* normal = plane;
    CRange range{plane[3], plane[3], std::abs(plane[3])};
    for (int k = 0; k < 3; ++k) {
        // The lesser product is the low end's, whatever the normal's sign.
        const double atLow = normal[k] * box.Low[k];
        const double atHigh = normal[k] * box.High[k];
        range.Low += std::min(atLow, atHigh);
        range.High += std::max(atLow, atHigh);
        range.Error += std::max(std::abs(atLow), std::abs(atHigh));
    }
    // Sums of a few products, each exact, differ by a few of their ulps.
    range.Error *= 1e-15;
    return range;
}

// Which sides of a plane a box's points may be classified on by the segment
// walk: behind (a distance at -0.2 or less once rounded to float), on
// (strictly within the band), in front (at 0.2 or more). Rounding to float
// keeps the order of values, so the range's ends give the extremes.
struct CSides {
    bool bBack;
    bool bOn;
    bool bFront;
    double Low;
    double High;
    CRange Range;
};

// The sides of points whose distances, rounded to float, lie from low to
// high.
void Classify(CSides* pSides, double low, double high)
{
    const float lowest = static_cast<float>(low);
    const float highest = static_cast<float>(high);
    pSides->bBack = lowest <= -PLANE_EPSILON;
    pSides->bFront = highest >= PLANE_EPSILON;
    pSides->bOn = lowest < PLANE_EPSILON && highest > -PLANE_EPSILON;
}

[[gnu::always_inline]] inline CSides SidesOf(const double* plane, const CSightBox& box)
{
    const CRange range = RangeOf(plane, box);
    CSides sides;
    sides.Low = range.Low;
    sides.High = range.High;
    sides.Range = range;
    Classify(&sides, range.Low - range.Error, range.High + range.Error);
    return sides;
}

// SidesOf at a node whose plane has number planeId. Points that lie within
// Round of that plane (or of the same plane turned round, which measures
// the same distances negated) are classified from that band as well as from
// the corners of their box.
[[gnu::always_inline]] inline CSides SidesAt(const double* plane, int32_t planeId,
                                             const CSightBox& box)
{
    CSides sides = SidesOf(plane, box);
    if (box.PlaneId < 0 || box.PlaneId != planeId)
        return sides;
    const double reach = box.Round + sides.Range.Error;
    Classify(&sides, std::max(sides.Range.Low - sides.Range.Error, -reach),
             std::min(sides.Range.High + sides.Range.Error, reach));
    return sides;
}

// Where every segment between two boxes goes whole: behind when no end may
// be in front and the two may not both be on the plane (which tries both
// sides), in front likewise; else some are cut or may take either side.
enum class EWay { Back, Front, Split };

EWay WholeWay(const CSides& p, const CSides& q)
{
    const bool bBothOn = p.bOn && q.bOn;
    if (!p.bFront && !q.bFront && !bBothOn)
        return EWay::Back;
    if (!p.bBack && !q.bBack && !bBothOn)
        return EWay::Front;
    return EWay::Split;
}

// Levels of distance that bound the ends a walk classifies: an end behind
// rounds to -0.2 or less, so lies below the next float above -0.2; an end in
// front lies above the next float below 0.2; an end that is not in front
// lies below 0.2, one that is not behind above -0.2.
const double BEHIND_LEVEL = std::nextafter(-PLANE_EPSILON, 0.0f);
const double AHEAD_LEVEL = std::nextafter(PLANE_EPSILON, 0.0f);
constexpr double NOT_AHEAD_LEVEL = BAND;
constexpr double NOT_BEHIND_LEVEL = -BAND;

double LargestCoordinate(const CSightBox& box)
{
    double largest = 0.0;
    for (int k = 0; k < 3; ++k)
        largest = std::max({largest, std::abs(box.Low[k]), std::abs(box.High[k])});
    return largest;
}

// A box round the crossing points of the segments from a box behind the
// plane to a box in front of it. A crossing lies at the fraction t = u / (u
// + v) of its segment, u and v the distances of its ends from the plane;
// t is bounded from the boxes' distance ranges and the point from t and the
// boxes, axis by axis. The walk computes t from distances rounded to float
// and the point in float: both bounds grow by what that rounding can do.
CSightBox CrossingBox(const CSightBox& back, const CSides& backSides, const CSightBox& front,
                      const CSides& frontSides, double* pRounding)
{
    CSightBox hull = back;
    hull.Add(front);
    const double largest = LargestCoordinate(hull);
    // A distance rounded to float is off by 2^-24 of the dot product at
    // most, which is below twice the largest coordinate; t and the point
    // each take a few such roundings.
    const double rounding = 4e-6 * largest + 1e-4;
    *pRounding = rounding;
    const double uLow = std::max(BAND, -backSides.High);
    const double uHigh = std::max(uLow, -backSides.Low);
    const double vLow = std::max(BAND, frontSides.Low);
    const double vHigh = std::max(vLow, frontSides.High);
    const double drift = 4e-7 * largest / (2.0 * BAND);
    const double tLow = std::max(0.0, uLow / (uLow + vHigh) - drift);
    const double tHigh = std::min(1.0, uHigh / (uHigh + vLow) + drift);
    CSightBox box;
    for (int k = 0; k < 3; ++k) {
        double low = 1e300;
        double high = -1e300;
        for (const double t : {tLow, tHigh}) {
            for (const double a : {back.Low[k], back.High[k]}) {
                for (const double b : {front.Low[k], front.High[k]}) {
                    const double at = (1.0 - t) * a + t * b;
                    low = std::min(low, at);
                    high = std::max(high, at);
                }
            }
        }
        box.Low[k] = low - rounding;
        box.High[k] = high + rounding;
    }
    return box;
}

bool IsFinite(const CSightBox& box)
{
    for (int k = 0; k < 3; ++k) {
        if (!std::isfinite(box.Low[k]) || !std::isfinite(box.High[k]))
            return false;
    }
    return true;
}

// The part of a box whose points lie at or below (bBelow) or at or above a
// level of distance from a plane, shrunk axis by axis; empty when no point
// does. The bounds give way by the error of the distances, then come in to
// float values. `range` is the box's RangeOf for the plane.
CSightBox ClipBox(const CSightBox& box, const double* plane, const CRange& range, double level,
                  bool bBelow)
{
    if (bBelow ? range.High + range.Error <= level : range.Low - range.Error >= level)
        return box; // wholly on that side already
    if (bBelow ? range.Low - range.Error > level : range.High + range.Error < level)
        return CSightBox();
    const double* normal = plane;
    // The least (below) or greatest (above) distance, less each axis' share.
    const double extreme = (bBelow ? range.Low : range.High) - plane[3];
    const double limit = level - plane[3] + (bBelow ? range.Error : -range.Error);
    CSightBox clipped = box;
    for (int k = 0; k < 3; ++k) {
        if (normal[k] == 0.0)
            continue;
        const bool bUpper = (normal[k] > 0.0) == bBelow;
        const double own = normal[k] * (bUpper ? box.Low[k] : box.High[k]);
        const double bound = (limit - (extreme - own)) / normal[k];
        const double slack = (std::abs(bound) + 1.0) * 1e-15;
        if (bUpper)
            clipped.High[k] = FloatAtOrBelow(std::min(clipped.High[k], bound + slack));
        else
            clipped.Low[k] = FloatAtOrAbove(std::max(clipped.Low[k], bound - slack));
    }
    return clipped;
}

// The crossings of the segments from the box `back`, behind the plane, to
// `front`: the box of CrossingBox kept to the band of its rounding round the
// plane, where they lie, and carrying the plane (number planeId) and that
// band.
CSightBox Crossings(const double* plane, int32_t planeId, const CSightBox& back,
                    const CSightBox& front)
{
    double rounding = 0.0;
    CSightBox x = CrossingBox(back, SidesOf(plane, back), front, SidesOf(plane, front), &rounding);
    x = ClipBox(x, plane, RangeOf(plane, x), rounding, true);
    x = ClipBox(x, plane, RangeOf(plane, x), -rounding, false);
    x.PlaneId = planeId;
    x.Round = rounding;
    return x;
}

// The segments between boxes a and b (of sides p and q) that the plane cuts,
// for each way round that there may be some: visit gets the boxes of their
// ends behind, of their crossings and of their ends in front, and the
// halves behind run from the first to the second, those in front from the
// second to the third. False as soon as visit gives false.
template <typename TVisit>
bool ForEachCut(const double* plane, int32_t planeId, const CSides& p, const CSides& q,
                const CSightBox& a, const CSightBox& b, TVisit visit)
{
    for (const bool bABehind : {true, false}) {
        const CSides& behind = bABehind ? p : q;
        const CSides& ahead = bABehind ? q : p;
        if (!behind.bBack || !ahead.bFront)
            continue;
        const CSightBox back = ClipBox(bABehind ? a : b, plane, behind.Range, BEHIND_LEVEL, true);
        const CSightBox front = ClipBox(bABehind ? b : a, plane, ahead.Range, AHEAD_LEVEL, false);
        if (back.IsEmpty() || front.IsEmpty())
            continue; // no segment is cut this way round
        if (!visit(back, Crossings(plane, planeId, back, front), front))
            return false;
    }
    return true;
}

// The segment walk of LineOfSight over a tree seen through a view: the
// compiler's tree itself, or the compact copy of CSightTree. A view gives
// each place's kind, and an inner node's plane and children.
enum class EPlace { Solid, Open, Inner };

struct CBuildView {
    using Node = const CBuildNode*;
    static EPlace Kind(Node pNode)
    {
        if (!pNode)
            return EPlace::Solid; // a missing child is solid
        if (pNode->pFaces)
            return pNode->bVisited ? EPlace::Open : EPlace::Solid;
        return EPlace::Inner;
    }
    static const CPlane& Plane(Node pNode) { return pNode->Plane; }
    // CPlane::DistanceTo, step for step, on a point widened to double.
    static double DistanceTo(Node pNode, const double p[3])
    {
        const CPlane& plane = pNode->Plane;
        return p[0] * plane.Normal.x + p[1] * plane.Normal.y + p[2] * plane.Normal.z +
               static_cast<double>(plane.Distance);
    }
    static Node Back(Node pNode) { return pNode->pBack; }
    static Node Front(Node pNode) { return pNode->pFront; }
};

template <typename TNode> struct TStep {
    TNode Node;
    bool bAlternative;
    CVector From;
    CVector To;
};

// Meets solid without a word.
struct CIgnoreSolid {
    template <typename TNode> void operator()(TNode, bool) const {}
};

// False when the stack of `capacity` entries would overflow (depth of the
// tree + 1 is always enough); else the answer in *pSees. onSolid(node,
// bFront) hears of each solid place that a piece comes down to from the
// inner node `node`, on its front side or not.
template <typename TView, typename TStepEntry, typename TOnSolid = CIgnoreSolid>
bool WalkSegment(const TView& view, typename TView::Node node, const CVector& from,
                 const CVector& to, TStepEntry* pStack, int32_t capacity, bool* pSees,
                 TOnSolid onSolid = {})
{
    int32_t top = 0;
    CVector a;
    CVector b;
    // The ends, and the ends widened to double once per piece rather than
    // once per node.
    double wa[3];
    double wb[3];
    auto setEnds = [&](const CVector& newA, const CVector& newB) {
        a = newA;
        b = newB;
        wa[0] = a.x;
        wa[1] = a.y;
        wa[2] = a.z;
        wb[0] = b.x;
        wb[1] = b.y;
        wb[2] = b.z;
    };
    setEnds(from, to);
    for (;;) {
        // Down to a leaf or solid; the second half of a cut segment, or the
        // other side of a segment lying along a plane, waits on the stack.
        bool bSees = false;
        typename TView::Node above = node; // the inner node over `node`, once it has one
        bool bFrontSide = false;
        for (;;) {
            const EPlace kind = view.Kind(node);
            if (kind != EPlace::Inner) {
                bSees = kind == EPlace::Open;
                if (!bSees && above != node)
                    onSolid(above, bFrontSide);
                break;
            }
            const float da = static_cast<float>(view.DistanceTo(node, wa));
            const float db = static_cast<float>(view.DistanceTo(node, wb));
            const EStep step = StepOf(da, db);
            above = node;
            bFrontSide = step == EStep::Front;
            if (step == EStep::Back) {
                node = view.Back(node);
            } else if (step == EStep::Front) {
                node = view.Front(node);
            } else if (step == EStep::Along) {
                if (top == capacity)
                    return false;
                pStack[top++] = {view.Front(node), true, a, b};
                node = view.Back(node);
            } else {
                if (top == capacity)
                    return false;
                // The back half first; the front half waits.
                const CHalves halves = CutHalves(view.Plane(node), a, b, da);
                pStack[top++] = {view.Front(node), false, halves.Crossing, halves.Ahead};
                setEnds(halves.Behind, halves.Crossing);
                node = view.Back(node);
            }
        }
        // Up to the next test that can still change the answer: the second
        // half of a cut passes only if the first did, an alternative is
        // needed only if the walk before it failed.
        for (;;) {
            if (top == 0) {
                *pSees = bSees;
                return true;
            }
            const TStepEntry& step = pStack[--top];
            if (step.bAlternative != bSees) {
                node = step.Node;
                setEnds(step.From, step.To);
                break;
            }
        }
    }
}

} // namespace

void CSightBox::Add(const CVector& p)
{
    const double q[3] = {p.x, p.y, p.z};
    for (int k = 0; k < 3; ++k) {
        Low[k] = std::min(Low[k], q[k]);
        High[k] = std::max(High[k], q[k]);
    }
    PlaneId = -1;
}

void CSightBox::Add(const CSightBox& box)
{
    if (IsEmpty()) {
        PlaneId = box.PlaneId;
        Round = box.Round;
    } else if (box.PlaneId != PlaneId) {
        PlaneId = -1;
    } else {
        Round = std::max(Round, box.Round);
    }
    for (int k = 0; k < 3; ++k) {
        Low[k] = std::min(Low[k], box.Low[k]);
        High[k] = std::max(High[k], box.High[k]);
    }
}

bool LineOfSight(const CBuildNode* pNode, const CVector* pFrom, const CVector* pTo)
{
    if (!pFrom || !pTo)
        return false;
    const CBuildView view;
    TStep<const CBuildNode*> stack[SIGHT_STACK_SIZE];
    bool bSees = false;
    if (WalkSegment(view, pNode, *pFrom, *pTo, stack, SIGHT_STACK_SIZE, &bSees))
        return bSees;
    // A very deep tree: grow the stack until it holds the walk.
    std::vector<TStep<const CBuildNode*>> heap(static_cast<size_t>(SIGHT_STACK_SIZE) * 4);
    while (!WalkSegment(view, pNode, *pFrom, *pTo, heap.data(), static_cast<int32_t>(heap.size()),
                        &bSees))
        heap.resize(heap.size() * 4);
    return bSees;
}

CSightTree::CNode CSightTree::MakeNode(const CPlane& plane)
{
    Planes.push_back(plane);
    CNode node;
    node.Exact[0] = plane.Normal.x;
    node.Exact[1] = plane.Normal.y;
    node.Exact[2] = plane.Normal.z;
    node.Exact[3] = plane.Distance;
    return node;
}

CSightTree::CSightTree(const CBuildNode* pRoot)
{
    nRoot = Add(pRoot);
    NumberPlanes();
}

bool CSightTree::KeyOf(const CPlane& plane, std::array<float, 4>* pKey)
{
    std::array<float, 4>& key = *pKey;
    key = {plane.Normal.x, plane.Normal.y, plane.Normal.z, plane.Distance};
    if (!std::all_of(key.begin(), key.end(), [](float v) { return std::isfinite(v); }))
        return false;
    const float first = key[0] != 0.0f ? key[0] : key[1] != 0.0f ? key[1] : key[2];
    for (float& v : key)
        v = (first < 0.0f ? -v : v) + 0.0f; // and -0 taken as 0
    return true;
}

// Equal planes, and planes equal once turned round, get one number: a walk's
// distances from the one are those from the other or their negatives, bit
// for bit. Planes that are not finite get none (-1).
void CSightTree::NumberPlanes()
{
    PlaneIds.reserve(Planes.size());
    for (size_t i = 0; i < Planes.size(); ++i) {
        std::array<float, 4> key;
        if (!KeyOf(Planes[i], &key)) {
            PlaneIds.push_back(-1);
            continue;
        }
        const auto [it, bNew] = PlaneKeys.try_emplace(key, static_cast<int32_t>(PlaneNodes.size()));
        if (bNew)
            PlaneNodes.push_back(static_cast<int32_t>(i));
        PlaneIds.push_back(it->second);
    }
}

int32_t CSightTree::PlaneNumber(const CPlane& plane) const
{
    std::array<float, 4> key;
    if (!KeyOf(plane, &key))
        return -1;
    const auto it = PlaneKeys.find(key);
    return it == PlaneKeys.end() ? -1 : it->second;
}

// Copies the subtree under pNode, each node before its children, on a stack
// of its own: trees may be thousands of levels deep.
int32_t CSightTree::Add(const CBuildNode* pTop)
{
    auto place = [](const CBuildNode* pNode) {
        return CBuildView::Kind(pNode) == EPlace::Open ? OPEN : SOLID;
    };
    if (CBuildView::Kind(pTop) != EPlace::Inner)
        return place(pTop);
    struct CPending {
        const CBuildNode* pNode;
        int32_t Index;
        int32_t Depth;
    };
    std::vector<CPending> pending;
    Nodes.push_back(MakeNode(pTop->Plane));
    pending.push_back({pTop, 0, 1});
    while (!pending.empty()) {
        const CPending top = pending.back();
        pending.pop_back();
        nDepth = std::max(nDepth, top.Depth);
        for (const bool bFront : {false, true}) {
            const CBuildNode* pChild = bFront ? top.pNode->pFront : top.pNode->pBack;
            int32_t child = place(pChild);
            if (CBuildView::Kind(pChild) == EPlace::Inner) {
                child = static_cast<int32_t>(Nodes.size());
                Nodes.push_back(MakeNode(pChild->Plane));
                pending.push_back({pChild, child, top.Depth + 1});
            }
            (bFront ? Nodes[top.Index].Front : Nodes[top.Index].Back) = child;
        }
    }
    const int32_t root = Collapse();
    Parents.assign(Nodes.size(), SOLID);
    for (size_t i = 0; i < Nodes.size(); ++i) {
        for (const int32_t child : {Nodes[i].Back, Nodes[i].Front}) {
            if (child >= 0)
                Parents[static_cast<size_t>(child)] = static_cast<int32_t>(i);
        }
    }
    return root;
}

// A subtree whose ends are all reached leaves passes every piece of segment
// that enters it, and one whose ends are all solid passes none: each becomes
// that end, so that walks stop where it starts. Children stand after their
// parent in the array, so one backward sweep sees every child first.
int32_t CSightTree::Collapse()
{
    constexpr uint8_t HAS_OPEN = 1;
    constexpr uint8_t HAS_SOLID = 2;
    std::vector<uint8_t> ends(Nodes.size(), 0);
    auto endsOf = [&](int32_t child) -> uint8_t {
        return child == OPEN ? HAS_OPEN : child == SOLID ? HAS_SOLID : ends[static_cast<size_t>(child)];
    };
    auto collapsed = [&](int32_t child) {
        const uint8_t kinds = endsOf(child);
        return kinds == HAS_OPEN ? OPEN : kinds == HAS_SOLID ? SOLID : child;
    };
    for (size_t i = Nodes.size(); i-- > 0;) {
        CNode& node = Nodes[i];
        ends[i] = static_cast<uint8_t>(endsOf(node.Back) | endsOf(node.Front));
        node.Back = collapsed(node.Back);
        node.Front = collapsed(node.Front);
    }
    return collapsed(0);
}

// The compact copy as a view for WalkSegment.
struct CSightTree::CView {
    using Node = int32_t;
    const std::vector<CNode>& Nodes;
    const std::vector<CPlane>& Planes;
    static EPlace Kind(int32_t node)
    {
        return node >= 0 ? EPlace::Inner : node == OPEN ? EPlace::Open : EPlace::Solid;
    }
    const CPlane& Plane(int32_t node) const { return Planes[static_cast<size_t>(node)]; }
    // CPlane::DistanceTo, step for step, on the plane and the point held in
    // double.
    double DistanceTo(int32_t node, const double p[3]) const
    {
        const double* pPlane = Nodes[static_cast<size_t>(node)].Exact;
        return p[0] * pPlane[0] + p[1] * pPlane[1] + p[2] * pPlane[2] + pPlane[3];
    }
    int32_t Back(int32_t node) const { return Nodes[static_cast<size_t>(node)].Back; }
    int32_t Front(int32_t node) const { return Nodes[static_cast<size_t>(node)].Front; }
};

double CSightTree::DistanceFrom(int32_t id, const CVector& point) const
{
    const CView view{Nodes, Planes};
    const double p[3] = {point.x, point.y, point.z};
    return std::abs(view.DistanceTo(PlaneNodes[static_cast<size_t>(id)], p));
}

bool CSightTree::Sees(int32_t node, const CVector& from, const CVector& to, CStep* pStack) const
{
    const CView view{Nodes, Planes};
    bool bSees = false;
    // The stack holds the deepest walk, so the walk always ends.
    WalkSegment(view, node, from, to, pStack, StackSize(), &bSees);
    return bSees;
}

bool CSightTree::Sees(int32_t node, const CVector& from, const CVector& to, CStep* pStack,
                      CBlocker* pBlocker) const
{
    const CView view{Nodes, Planes};
    bool bSees = false;
    auto note = [&](int32_t above, bool bFront) {
        if (pBlocker->Node < 0)
            *pBlocker = {above, bFront};
    };
    WalkSegment(view, node, from, to, pStack, StackSize(), &bSees, note);
    return bSees;
}

// The segments from a point to the box all pass through the solid cell deep
// inside every plane over it, by more than the band and what rounding may
// do: each walk then takes a piece of its segment down to that cell, never
// along a plane on the way, and the walk fails there. The points whose
// segments from `from` pass through a convex cell make a convex set, so the
// box's corners tell for the box.
bool CSightTree::Shadows(const CBlocker& blocker, const CVector& from, const CSightBox& box) const
{
    if (blocker.Node < 0 || box.IsEmpty() || !IsFinite(box))
        return false;
    const double s[3] = {from.x, from.y, from.z};
    CSightBox hull = box;
    hull.Add(from);
    const double largest = LargestCoordinate(hull);
    if (!std::isfinite(largest) || largest > SKIP_COORDINATE_LIMIT)
        return false;
    const double margin = PLANE_EPSILON + WalkSlack(largest) + SHADOW_SLACK;
    double corners[8][3];
    for (int32_t c = 0; c < 8; ++c) {
        for (int32_t k = 0; k < 3; ++k)
            corners[c][k] = (c >> k) & 1 ? box.High[k] : box.Low[k];
    }
    // The part of each corner's segment still inside every plane so far.
    double low[8] = {};
    double high[8];
    std::fill(high, high + 8, 1.0);
    int32_t node = blocker.Node;
    bool bFront = blocker.bFront;
    while (node >= 0) {
        const double* p = Nodes[static_cast<size_t>(node)].Exact;
        const double sign = bFront ? 1.0 : -1.0;
        const double atFrom = sign * (s[0] * p[0] + s[1] * p[1] + s[2] * p[2] + p[3]);
        for (int32_t c = 0; c < 8; ++c) {
            const double* q = corners[c];
            const double atCorner = sign * (q[0] * p[0] + q[1] * p[1] + q[2] * p[2] + p[3]);
            // Where along the segment the distance reaches the margin.
            if (atFrom < margin && atCorner < margin)
                return false;
            if (atFrom < margin || atCorner < margin) {
                const double t = (margin - atFrom) / (atCorner - atFrom);
                if (atFrom < margin)
                    low[c] = std::max(low[c], t);
                else
                    high[c] = std::min(high[c], t);
                if (!(low[c] <= high[c]))
                    return false;
            }
        }
        const int32_t parent = Parents[static_cast<size_t>(node)];
        bFront = parent >= 0 && Nodes[static_cast<size_t>(parent)].Front == node;
        node = parent;
    }
    return true;
}

int32_t CSightTree::Entry(const CSightBox& a, const CSightBox& b, CSkips* pSkips) const
{
    if (a.IsEmpty() || b.IsEmpty() || !IsFinite(a) || !IsFinite(b))
        return nRoot;
    int32_t node = nRoot;
    while (node >= 0) {
        const CNode& inner = Nodes[static_cast<size_t>(node)];
        const double* plane = inner.Exact;
        const int32_t id = PlaneIds[static_cast<size_t>(node)];
        const EWay way = WholeWay(SidesAt(plane, id, a), SidesAt(plane, id, b));
        if (way == EWay::Split)
            break;
        node = SkipFrom(pSkips, way == EWay::Back ? inner.Back : inner.Front);
    }
    return node;
}

bool CSightTree::BoxesSee(int32_t node, const CSightBox& a, const CSightBox& b,
                          CSkips* pSkips) const
{
    if (a.IsEmpty() || b.IsEmpty() || !IsFinite(a) || !IsFinite(b))
        return node == OPEN;
    int32_t work = 0;
    return BoxesSeeFrom(node, a, b, &work, 0, pSkips);
}

bool CSightTree::BoxesSeeFrom(int32_t node, const CSightBox& a, const CSightBox& b,
                              int32_t* pWork, int32_t alternatives, CSkips* pSkips) const
{
    node = SkipFrom(pSkips, node);
    if (node < 0)
        return node == OPEN;
    // Pairs of end boxes still to walk, each with the node it enters. The
    // segment walk of any segment between the boxes enters no node that this
    // walk does not, with its ends in the boxes that this walk takes there:
    // if every node entered here is a reached leaf or leads on to one, every
    // such segment sees.
    struct CPending {
        int32_t Node;
        CSightBox A;
        CSightBox B;
    };
    // Left unset until pushed: setting every box of the stack would cost more
    // than many of these walks.
    union CStack {
        CStack() {}
        CPending Items[BOX_STACK_SIZE];
    } store;
    CPending* const stack = store.Items;
    int32_t top = 0;
    auto push = [&](int32_t child, const CSightBox& p, const CSightBox& q) {
        if (p.IsEmpty() || q.IsEmpty())
            return true; // no segment goes there
        const int32_t to = SkipFrom(pSkips, child);
        if (to < 0)
            return to == OPEN; // a leaf: nothing more to walk
        if (top == BOX_STACK_SIZE)
            return false;
        stack[top++] = {to, p, q};
        return true;
    };
    stack[top++] = {node, a, b};
    while (top > 0) {
        if (++*pWork > BOX_WORK_LIMIT)
            return false;
        CPending pending = stack[--top];
        auto sidesOf = [&](const CSightBox& box) {
            const size_t at = static_cast<size_t>(pending.Node);
            return SidesAt(Nodes[at].Exact, PlaneIds[at], box);
        };
        // Down while every segment goes whole one way, with the boxes as
        // they are: a box may hold more than the ends that go on, which
        // proves as much.
        CSides p = sidesOf(pending.A);
        CSides q = sidesOf(pending.B);
        for (EWay way = WholeWay(p, q); way != EWay::Split; way = WholeWay(p, q)) {
            const CNode& whole = Nodes[static_cast<size_t>(pending.Node)];
            pending.Node = SkipFrom(pSkips, way == EWay::Back ? whole.Back : whole.Front);
            if (pending.Node < 0)
                break;
            if (++*pWork > BOX_WORK_LIMIT)
                return false;
            p = sidesOf(pending.A);
            q = sidesOf(pending.B);
        }
        if (pending.Node < 0) {
            if (pending.Node == SOLID)
                return false;
            continue;
        }
        const CNode& inner = Nodes[static_cast<size_t>(pending.Node)];
        const double* plane = inner.Exact;
        const int32_t id = PlaneIds[static_cast<size_t>(pending.Node)];
        // Every segment lies along the plane: it sees when it passes on
        // either side, which a walk of each side in turn may prove.
        const bool bAllOn = !p.bBack && !p.bFront && !q.bBack && !q.bFront;
        if (bAllOn && alternatives < BOX_ALTERNATIVES) {
            if (!BoxesSeeFrom(inner.Back, pending.A, pending.B, pWork, alternatives + 1, pSkips) &&
                !BoxesSeeFrom(inner.Front, pending.A, pending.B, pWork, alternatives + 1, pSkips))
                return false;
            continue;
        }
        // Whole segments go behind when one end is behind and the other not
        // in front, and then lie below 0.2; in front when one end is in
        // front and the other not behind, and then lie above -0.2. A segment
        // with both ends on the plane sees when either side passes it: it is
        // taken in front only, which proves enough.
        if ((p.bBack && (q.bOn || q.bBack)) || (p.bOn && q.bBack)) {
            if (!push(inner.Back, ClipBox(pending.A, plane, p.Range, NOT_AHEAD_LEVEL, true),
                      ClipBox(pending.B, plane, q.Range, NOT_AHEAD_LEVEL, true)))
                return false;
        }
        if ((p.bOn || p.bFront) && (q.bOn || q.bFront)) {
            if (!push(inner.Front, ClipBox(pending.A, plane, p.Range, NOT_BEHIND_LEVEL, false),
                      ClipBox(pending.B, plane, q.Range, NOT_BEHIND_LEVEL, false)))
                return false;
        }
        // Cut segments: the half behind runs from the end behind to the
        // crossing, the half in front from the crossing to the end in front.
        auto pushHalves = [&](const CSightBox& back, const CSightBox& x, const CSightBox& front) {
            return push(inner.Back, back, x) && push(inner.Front, x, front);
        };
        if (!ForEachCut(plane, id, p, q, pending.A, pending.B, pushHalves))
            return false;
    }
    return true;
}

bool CSightTree::BoxesBlocked(int32_t node, const CSightBox& a, const CSightBox& b,
                              CSkips* pSkips) const
{
    if (a.IsEmpty() || b.IsEmpty() || !IsFinite(a) || !IsFinite(b))
        return false;
    int32_t work = 0;
    return BoxesBlockedFrom(node, a, b, &work, pSkips);
}

// Every segment dies when all of them go one way into solid. Where they
// part, those that go whole behind must die behind, those that go whole in
// front must die in front (a segment along the plane, which passes when
// either side passes it, is among both), and a cut one dies when either of
// its halves does.
bool CSightTree::BoxesBlockedFrom(int32_t node, CSightBox a, CSightBox b, int32_t* pWork,
                                  CSkips* pSkips) const
{
    node = SkipFrom(pSkips, node);
    for (;;) {
        if (node < 0)
            return node == SOLID;
        if (a.IsEmpty() || b.IsEmpty())
            return true; // no segment goes there
        if (++*pWork > BOX_WORK_LIMIT)
            return false;
        const CNode& inner = Nodes[static_cast<size_t>(node)];
        const double* plane = inner.Exact;
        const int32_t id = PlaneIds[static_cast<size_t>(node)];
        const CSides p = SidesAt(plane, id, a);
        const CSides q = SidesAt(plane, id, b);
        const EWay way = WholeWay(p, q);
        if (way != EWay::Split) {
            node = SkipFrom(pSkips, way == EWay::Back ? inner.Back : inner.Front);
            continue;
        }
        // Ends that are not in front: segments that go whole behind, or
        // along the plane; and likewise in front.
        if ((p.bBack || p.bOn) && (q.bBack || q.bOn) &&
            !BoxesBlockedFrom(inner.Back, ClipBox(a, plane, p.Range, NOT_AHEAD_LEVEL, true),
                              ClipBox(b, plane, q.Range, NOT_AHEAD_LEVEL, true), pWork, pSkips))
            return false;
        if ((p.bFront || p.bOn) && (q.bFront || q.bOn) &&
            !BoxesBlockedFrom(inner.Front, ClipBox(a, plane, p.Range, NOT_BEHIND_LEVEL, false),
                              ClipBox(b, plane, q.Range, NOT_BEHIND_LEVEL, false), pWork, pSkips))
            return false;
        auto eitherHalfDies = [&](const CSightBox& back, const CSightBox& x, const CSightBox& front) {
            return BoxesBlockedFrom(inner.Back, back, x, pWork, pSkips) ||
                   BoxesBlockedFrom(inner.Front, x, front, pWork, pSkips);
        };
        return ForEachCut(plane, id, p, q, a, b, eitherHalfDies);
    }
}


void CSightTree::SetSkips(CSkips* pSkips, const CSightBox& a, const CSightBox& b) const
{
    if (++pSkips->nPair == 0) { // wrapped round: old entries could pass for new ones
        for (CSkips::CEntry& entry : pSkips->Entries)
            entry = CSkips::CEntry();
        pSkips->nPair = 1;
    }
    CSightBox hull = a;
    hull.Add(b);
    const double largest = LargestCoordinate(hull);
    pSkips->bActive = !a.IsEmpty() && !b.IsEmpty() && IsFinite(hull) &&
                      largest <= SKIP_COORDINATE_LIMIT;
    pSkips->Boxes[0] = a;
    pSkips->Boxes[1] = b;
    pSkips->Slack = WalkSlack(largest);
}

double CSightTree::WalkSlack(double largest) const
{
    // A piece's end is the crossing of a piece that may have been cut
    // before, once per node on the way down at most. Each crossing strays
    // from its segment by three roundings to float per axis, within
    // 1e-6 of the largest coordinate in distance; 1e-4 covers the rounding
    // of distances in double.
    return 1e-6 * (nDepth + 1) * largest + 1e-4;
}

// Where every point between the boxes lies below -0.2 (or above 0.2) once
// the slack is added, every piece's distances round to a float at -0.2 or
// less at both ends: each piece goes whole behind.
int32_t CSightTree::FindSkip(CSkips* pSkips, int32_t node) const
{
    int32_t at = node;
    while (pSkips->bActive && at >= 0) {
        const CNode& inner = Nodes[static_cast<size_t>(at)];
        double low = 1e300;
        double high = -1e300;
        for (const CSightBox& box : pSkips->Boxes) {
            const CRange range = RangeOf(inner.Exact, box);
            low = std::min(low, range.Low);
            high = std::max(high, range.High);
        }
        if (static_cast<float>(high + pSkips->Slack) <= -PLANE_EPSILON)
            at = inner.Back;
        else if (static_cast<float>(low - pSkips->Slack) >= PLANE_EPSILON)
            at = inner.Front;
        else
            break;
    }
    pSkips->EntryOf(node) = {node, at, pSkips->nPair};
    return at;
}
