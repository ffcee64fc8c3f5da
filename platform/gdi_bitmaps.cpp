// Bitmap objects: loading them from files, making them, describing them,
// and copying pixels between contexts.
#include "platform/files.h"
#include "platform/gdi_bmp.h"
#include "platform/gdi_objects.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace {

// No picture of the largest size needs a file much larger than its pixels.
const size_t MAX_FILE_SIZE = size_t(MAX_BITMAP_SIDE) * MAX_BITMAP_SIDE * 4 + 65536;

bool ReadWholeFile(const char* pszPath, std::vector<uint8_t>& data)
{
    int nFile = OpenFileRead(pszPath);
    if (nFile < 0)
        return false;
    struct stat info {};
    bool bRead = fstat(nFile, &info) == 0 && info.st_size >= 0 &&
                 static_cast<size_t>(info.st_size) <= MAX_FILE_SIZE;
    if (bRead) {
        data.resize(static_cast<size_t>(info.st_size));
        size_t nDone = 0;
        while (bRead && nDone < data.size()) {
            ssize_t nGot = read(nFile, data.data() + nDone, data.size() - nDone);
            if (nGot < 0 && errno == EINTR)
                continue;
            bRead = nGot > 0;
            nDone += bRead ? static_cast<size_t>(nGot) : 0;
        }
    }
    close(nFile);
    return bRead;
}

// Nearest-pixel index of the source for destination pixel i, sampling at
// pixel centres.
int SourceIndex(int i, int nDest, int nSource)
{
    return static_cast<int>((int64_t(2) * i + 1) * nSource / (int64_t(2) * nDest));
}

CGdiBitmap* MakeBitmap(CDecodedBitmap& picture, int nWidth, int nHeight)
{
    auto* pBitmap = new CGdiBitmap(nWidth, nHeight);
    if (nWidth == picture.nWidth && nHeight == picture.nHeight) {
        pBitmap->Pixels.swap(picture.Pixels);
        return pBitmap;
    }
    for (int y = 0; y < nHeight; ++y) {
        const uint32_t* pRow = picture.Pixels.data() +
                               size_t(SourceIndex(y, nHeight, picture.nHeight)) * picture.nWidth;
        for (int x = 0; x < nWidth; ++x)
            pBitmap->Pixels[size_t(y) * nWidth + x] = pRow[SourceIndex(x, nWidth, picture.nWidth)];
    }
    return pBitmap;
}

// A negative extent runs the other way from its start, mirrored.
void Normalise(int& nStart, int& nExtent, bool& bMirror)
{
    if (nExtent < 0) {
        nStart += nExtent + 1;
        nExtent = -nExtent;
        bMirror = !bMirror;
    }
}

// The source pixels of a blit; a copy of them when both sides share pixels,
// so that an overlapping copy reads what was there before.
class CSource {
public:
    explicit CSource(const CPixelTarget& target) : Target(target) {}
    void Snapshot()
    {
        Copy.resize(size_t(Target.Width()) * Target.Height());
        for (int y = 0; y < Target.Height(); ++y)
            for (int x = 0; x < Target.Width(); ++x)
                Copy[size_t(y) * Target.Width() + x] = Target.ReadRaw(x, y);
    }
    uint32_t Raw(int x, int y) const
    {
        return Copy.empty() ? Target.ReadRaw(x, y) : Copy[size_t(y) * Target.Width() + x];
    }
    const CPixelTarget& Target;

private:
    std::vector<uint32_t> Copy;
};

// The range [first, end) of 0..nExtent whose points start + i lie in
// [0, nLimit).
void VisibleRange(int nStart, int nExtent, int nLimit, int& nFirst, int& nEnd)
{
    nFirst = static_cast<int>(std::max<int64_t>(0, -int64_t(nStart)));
    nEnd = static_cast<int>(std::min<int64_t>(nExtent, int64_t(nLimit) - nStart));
}

} // namespace

HBITMAP LoadImageA(HINSTANCE, const char* pszName, uint32_t nType, int nWidth, int nHeight,
                   uint32_t nFlags)
{
    if (!pszName || nType != IMAGE_BITMAP || !(nFlags & LR_LOADFROMFILE))
        return nullptr;
    std::vector<uint8_t> data;
    CDecodedBitmap picture;
    if (!ReadWholeFile(pszName, data) || !DecodeBmp(data.data(), data.size(), picture))
        return nullptr;
    int nOutWidth = nWidth > 0 && nWidth <= MAX_BITMAP_SIDE ? nWidth : picture.nWidth;
    int nOutHeight = nHeight > 0 && nHeight <= MAX_BITMAP_SIDE ? nHeight : picture.nHeight;
    return MakeBitmap(picture, nOutWidth, nOutHeight);
}

HBITMAP LoadBitmapA(HINSTANCE, const char*)
{
    return nullptr;
}

HBITMAP CreateBitmap32(int nWidth, int nHeight)
{
    if (nWidth <= 0 || nHeight <= 0 || nWidth > MAX_BITMAP_SIDE || nHeight > MAX_BITMAP_SIDE)
        return nullptr;
    return new CGdiBitmap(nWidth, nHeight);
}

int GetObjectA(HGDIOBJ hObject, int nSize, void* pOut)
{
    CGdiBitmap* pBitmap = AsKind<CGdiBitmap>(hObject, EGdiKind::Bitmap);
    if (!pBitmap)
        return 0;
    if (!pOut)
        return sizeof(BITMAP);
    if (nSize < static_cast<int>(sizeof(BITMAP)))
        return 0;
    BITMAP bitmap{};
    bitmap.bmWidth = pBitmap->nWidth;
    bitmap.bmHeight = pBitmap->nHeight;
    bitmap.bmWidthBytes = pBitmap->nWidth * 4;
    bitmap.bmPlanes = 1;
    bitmap.bmBitsPixel = 32;
    bitmap.bmBits = pBitmap->Pixels.data();
    std::memcpy(pOut, &bitmap, sizeof(BITMAP));
    return sizeof(BITMAP);
}

HDC CreateCompatibleDC(HDC)
{
    return new CDrawContext(CPixelTarget(), true);
}

bool StretchBlt(HDC hDest, int x, int y, int nWidth, int nHeight, HDC hSource, int xSource,
                int ySource, int nSourceWidth, int nSourceHeight, uint32_t)
{
    if (!hDest || !hSource || nWidth == 0 || nHeight == 0 || nSourceWidth == 0 ||
        nSourceHeight == 0)
        return false;
    bool bMirrorX = false, bMirrorY = false;
    Normalise(x, nWidth, bMirrorX);
    Normalise(y, nHeight, bMirrorY);
    Normalise(xSource, nSourceWidth, bMirrorX);
    Normalise(ySource, nSourceHeight, bMirrorY);

    CPixelTarget& dest = hDest->Target;
    CSource source(hSource->Target);
    if (dest.Pixels() == source.Target.Pixels())
        source.Snapshot();
    const CPixelFormat& destFormat = dest.PixelFormat();
    const CPixelFormat& sourceFormat = source.Target.PixelFormat();
    bool bSameFormat = destFormat == sourceFormat;

    int nFirstColumn, nEndColumn, nFirstRow, nEndRow;
    VisibleRange(x, nWidth, dest.Width(), nFirstColumn, nEndColumn);
    VisibleRange(y, nHeight, dest.Height(), nFirstRow, nEndRow);
    // Source column of each visible destination column, -1 where outside.
    std::vector<int> columns;
    for (int i = nFirstColumn; i < nEndColumn; ++i) {
        int j = SourceIndex(i, nWidth, nSourceWidth);
        int xIn = xSource + (bMirrorX ? nSourceWidth - 1 - j : j);
        columns.push_back(xIn >= 0 && xIn < source.Target.Width() ? xIn : -1);
    }
    for (int i = nFirstRow; i < nEndRow; ++i) {
        int j = SourceIndex(i, nHeight, nSourceHeight);
        int yIn = ySource + (bMirrorY ? nSourceHeight - 1 - j : j);
        if (yIn < 0 || yIn >= source.Target.Height())
            continue;
        for (size_t k = 0; k < columns.size(); ++k) {
            if (columns[k] < 0)
                continue;
            uint32_t nPixel = source.Raw(columns[k], yIn);
            if (!bSameFormat)
                nPixel = destFormat.Encode(sourceFormat.Decode(nPixel));
            dest.WriteRaw(x + nFirstColumn + static_cast<int>(k), y + i, nPixel);
        }
    }
    return true;
}

bool BitBlt(HDC hDest, int x, int y, int nWidth, int nHeight, HDC hSource, int xSource,
            int ySource, uint32_t nRop)
{
    return StretchBlt(hDest, x, y, nWidth, nHeight, hSource, xSource, ySource, nWidth, nHeight,
                      nRop);
}
