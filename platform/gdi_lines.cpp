// Lines and rectangles with the selected pen and brush.
#include "platform/gdi_objects.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

// The pixels a pen wider than one covers around each point of a line: a
// disc of the pen's width, as rows of columns relative to the point.
struct CPenTip {
    int nTop = 0;
    std::vector<std::pair<int, int>> Rows; // first and last column of each row
};

CPenTip MakeTip(int nWidth)
{
    CPenTip tip;
    tip.nTop = -(nWidth / 2);
    double dCentre = tip.nTop + (nWidth - 1) / 2.0;
    double dRadius2 = nWidth * nWidth / 4.0;
    for (int dy = tip.nTop; dy < tip.nTop + nWidth; ++dy) {
        int nFirst = tip.nTop + nWidth, nLast = tip.nTop - 1;
        for (int dx = tip.nTop; dx < tip.nTop + nWidth; ++dx) {
            double ex = dx - dCentre, ey = dy - dCentre;
            if (ex * ex + ey * ey <= dRadius2) {
                nFirst = std::min(nFirst, dx);
                nLast = std::max(nLast, dx);
            }
        }
        tip.Rows.emplace_back(nFirst, nLast);
    }
    return tip;
}

void Stamp(CPixelTarget& target, const CPenTip& tip, int x, int y, COLORREF colour)
{
    for (size_t i = 0; i < tip.Rows.size(); ++i) {
        int yRow = y + tip.nTop + static_cast<int>(i);
        target.Fill(RECT{x + tip.Rows[i].first, yRow, x + tip.Rows[i].second + 1, yRow + 1}, colour);
    }
}

// Calls plot for each point of the line from a to b, b itself included
// only when asked, in the order Bresenham's walk finds them.
template <class TPlot> void WalkLine(POINT a, POINT b, bool bLast, TPlot plot)
{
    int dx = std::abs(b.x - a.x), dy = -std::abs(b.y - a.y);
    int sx = a.x < b.x ? 1 : -1, sy = a.y < b.y ? 1 : -1;
    int nError = dx + dy;
    int x = a.x, y = a.y;
    while (x != b.x || y != b.y) {
        plot(x, y);
        int nTwice = 2 * nError;
        if (nTwice >= dy) {
            nError += dy;
            x += sx;
        }
        if (nTwice <= dx) {
            nError += dx;
            y += sy;
        }
    }
    if (bLast)
        plot(x, y);
}

// A one-pixel line leaves out its last point, so that joined lines meet
// without drawing a point twice; a wide one is round at both ends.
void DrawSegment(CDrawContext& dc, POINT a, POINT b)
{
    const CGdiPen& pen = dc.Pen();
    if (pen.bNull)
        return;
    CPixelTarget& target = dc.Target;
    if (pen.nWidth <= 1) {
        WalkLine(a, b, false, [&](int x, int y) {
            if (target.Contains(x, y))
                target.Write(x, y, pen.crColour);
        });
        return;
    }
    CPenTip tip = MakeTip(pen.nWidth);
    if (a.x == b.x || a.y == b.y) {
        // Straight across or down: the band between the round ends.
        int nLow = tip.nTop, nHigh = tip.nTop + pen.nWidth;
        if (a.y == b.y)
            target.Fill(RECT{std::min(a.x, b.x), a.y + nLow, std::max(a.x, b.x) + 1, a.y + nHigh},
                        pen.crColour);
        else
            target.Fill(RECT{a.x + nLow, std::min(a.y, b.y), a.x + nHigh, std::max(a.y, b.y) + 1},
                        pen.crColour);
        Stamp(target, tip, a.x, a.y, pen.crColour);
        Stamp(target, tip, b.x, b.y, pen.crColour);
        return;
    }
    WalkLine(a, b, true, [&](int x, int y) { Stamp(target, tip, x, y, pen.crColour); });
}

} // namespace

bool MoveToEx(HDC hdc, int x, int y, POINT* pOld)
{
    if (!hdc)
        return false;
    if (pOld)
        *pOld = hdc->Position;
    hdc->Position = POINT{x, y};
    return true;
}

bool LineTo(HDC hdc, int x, int y)
{
    if (!hdc)
        return false;
    DrawSegment(*hdc, hdc->Position, POINT{x, y});
    hdc->Position = POINT{x, y};
    return true;
}

bool Polyline(HDC hdc, const POINT* pPoints, int nCount)
{
    if (!hdc || !pPoints || nCount < 2)
        return false;
    for (int i = 1; i < nCount; ++i)
        DrawSegment(*hdc, pPoints[i - 1], pPoints[i]);
    return true;
}

bool Rectangle(HDC hdc, int nLeft, int nTop, int nRight, int nBottom)
{
    if (!hdc)
        return false;
    if (nRight < nLeft)
        std::swap(nLeft, nRight);
    if (nBottom < nTop)
        std::swap(nTop, nBottom);
    const CGdiBrush& brush = hdc->Brush();
    if (hdc->Pen().bNull) {
        // Without an outline the filled part is one pixel smaller each way.
        if (!brush.bNull)
            hdc->Target.Fill(RECT{nLeft, nTop, nRight - 1, nBottom - 1}, brush.crColour);
        return true;
    }
    if (!brush.bNull)
        hdc->Target.Fill(RECT{nLeft + 1, nTop + 1, nRight - 1, nBottom - 1}, brush.crColour);
    if (nRight == nLeft || nBottom == nTop)
        return true;
    // Around the corners; for a rectangle one pixel across, the walk down
    // and the walk back up between them cover it.
    POINT corners[5] = {{nLeft, nTop}, {nRight - 1, nTop}, {nRight - 1, nBottom - 1},
                        {nLeft, nBottom - 1}, {nLeft, nTop}};
    for (int i = 1; i < 5; ++i)
        DrawSegment(*hdc, corners[i - 1], corners[i]);
    return true;
}

int FillRect(HDC hdc, const RECT* pRect, HBRUSH hBrush)
{
    const CGdiBrush* pBrush = AsKind<CGdiBrush>(hBrush, EGdiKind::Brush);
    if (!hdc || !pRect || !pBrush)
        return 0;
    if (!pBrush->bNull)
        hdc->Target.Fill(*pRect, pBrush->crColour);
    return 1;
}
