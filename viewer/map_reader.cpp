#include "viewer/map_reader.h"

#include "frame/error.h"
#include "platform/files.h"

#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// Lumps are read straight into the in-memory records, so the host's byte
// order has to be the file's.
static_assert(std::endian::native == std::endian::little,
              "compiled map files are little-endian; this build needs a little-endian host");

namespace {

const char* const LUMP_TITLES[MAP_LUMP_COUNT] = {
    "vertices", "mappings", "texture names", "faces",
    "leaves",   "nodes",    "visibility",    "lightmaps",
};

// Closes the descriptor however the read ends.
class CFileCloser {
public:
    explicit CFileCloser(int hFile) : hFile(hFile) {}
    ~CFileCloser() { ::close(hFile); }
    CFileCloser(const CFileCloser&) = delete;
    CFileCloser& operator=(const CFileCloser&) = delete;

private:
    int hFile;
};

// The damage found; the read gives MAP_READ_INVALID.
struct CInvalidMap {
    std::string Problem;
};

[[noreturn]] void Invalid(const std::string& problem)
{
    throw CInvalidMap{problem};
}

template <typename T>
T* Allocate(uint64_t nCount)
{
    T* pArray = new (std::nothrow) T[nCount];
    if (!pArray)
        throw CError("AllocMem: Not enough memory.");
    return pArray;
}

// Reads nSize bytes at nOffset, all of them or nothing.
bool ReadAt(int hFile, void* pBuffer, uint64_t nSize, uint64_t nOffset)
{
    char* pByte = static_cast<char*>(pBuffer);
    while (nSize > 0) {
        ssize_t nDone = ::pread(hFile, pByte, nSize, static_cast<off_t>(nOffset));
        if (nDone < 0 && errno == EINTR)
            continue;
        if (nDone <= 0)
            return false;
        pByte += nDone;
        nSize -= static_cast<uint64_t>(nDone);
        nOffset += static_cast<uint64_t>(nDone);
    }
    return true;
}

class CMapReader {
public:
    CMapReader(int hFile, CMapImage* pImage) : hFile(hFile), Image(*pImage) {}

    void Read();

private:
    // Records of nRecordSize bytes in the lump; the remainder is dropped.
    uint64_t Count(int nLump, uint64_t nRecordSize) const
    {
        return Image.Header.Lumps[nLump].Size / nRecordSize;
    }

    // Reads the first nCount records of the lump into a new array.
    template <typename T>
    T* ReadLump(int nLump, uint64_t nCount)
    {
        T* pArray = Allocate<T>(nCount);
        if (!ReadAt(hFile, pArray, nCount * sizeof(T), Image.Header.Lumps[nLump].Offset)) {
            delete[] pArray;
            Invalid(std::string(LUMP_TITLES[nLump]) + " lump: short read");
        }
        return pArray;
    }

    void ReadHeader();
    void ReadNames();
    void ReadFaces();
    void UnpackFace(const int32_t* pWords, uint64_t nWord, CMapFace* pFace);
    void ReadLeaves();
    void ReadNodes();
    void CheckChild(int32_t nNode, int32_t nChild, std::vector<uint8_t>& nodeUsed,
                    std::vector<int32_t>& leafParent);

    int hFile;
    CMapImage& Image;
};

void CMapReader::ReadHeader()
{
    struct stat info;
    if (::fstat(hFile, &info) != 0)
        Invalid("cannot get the file's size");
    Image.nFileBytes = static_cast<uint64_t>(info.st_size);
    if (Image.nFileBytes < MAP_HEADER_SIZE)
        Invalid("shorter than the header (" + std::to_string(Image.nFileBytes) + " bytes)");
    if (!ReadAt(hFile, &Image.Header, MAP_HEADER_SIZE, 0))
        Invalid("short read of the header");
    if (std::memcmp(Image.Header.Magic, MAP_MAGIC, sizeof(MAP_MAGIC)) != 0)
        Invalid("bad magic");
    // Every lump lies inside the file; sums are 64-bit, so they can not wrap.
    for (int i = 0; i < MAP_LUMP_COUNT; ++i) {
        const CMapLump& lump = Image.Header.Lumps[i];
        if (lump.Size != 0 && uint64_t(lump.Offset) + lump.Size > Image.nFileBytes)
            Invalid(std::string(LUMP_TITLES[i]) + " lump runs past the end of the file");
    }
}

void CMapReader::ReadNames()
{
    uint32_t nSize = Image.Header.Lumps[LUMP_NAMES].Size;
    if (nSize == 0)
        return;
    Image.pNames = ReadLump<char>(LUMP_NAMES, nSize);
    Image.nNames = static_cast<int32_t>(nSize >> 5);
    // Names are used as C strings: each row must hold its terminator.
    for (int32_t i = 0; i < Image.nNames; ++i) {
        const char* pRow = Image.pNames + uint64_t(i) * MAP_NAME_SIZE;
        if (!std::memchr(pRow, 0, MAP_NAME_SIZE))
            Invalid("texture name " + std::to_string(i) + " has no terminator");
    }
}

void CMapReader::ReadFaces()
{
    uint64_t nWords = Image.Header.Lumps[LUMP_FACES].Size >> 2;
    if (nWords == 0)
        return;
    std::vector<int32_t> words(nWords);
    if (!ReadAt(hFile, words.data(), nWords * 4, Image.Header.Lumps[LUMP_FACES].Offset))
        Invalid("faces lump: short read");

    // The walk: a record is n + 3 words, and each must end inside the lump.
    uint64_t nCount = 0;
    for (uint64_t i = 0; i < nWords; ++nCount) {
        int32_t n = words[i];
        if (n < 0 || uint64_t(n) + MAP_FACE_HEADER_WORDS > nWords - i)
            Invalid("faces lump: record at word " + std::to_string(i) + " runs past the lump");
        i += uint64_t(n) + MAP_FACE_HEADER_WORDS;
    }

    // Zeroed records, so that a partly unpacked array frees cleanly.
    Image.pFaces = Allocate<CMapFace>(nCount);
    std::memset(Image.pFaces, 0, nCount * sizeof(CMapFace));
    Image.nFaces = static_cast<int32_t>(nCount);
    uint64_t nWord = 0;
    for (uint64_t f = 0; f < nCount; ++f) {
        UnpackFace(words.data(), nWord, &Image.pFaces[f]);
        nWord += uint64_t(Image.pFaces[f].nVertices) + MAP_FACE_HEADER_WORDS;
    }
}

void CMapReader::UnpackFace(const int32_t* pWords, uint64_t nWord, CMapFace* pFace)
{
    const int32_t* pRecord = pWords + nWord;
    pFace->nVertices = pRecord[0];
    pFace->nMapping = pRecord[1];
    pFace->nTexture = pRecord[2];
    pFace->pIndices = Allocate<int32_t>(pFace->nVertices);
    for (int32_t v = 0; v < pFace->nVertices; ++v) {
        int32_t nIndex = pRecord[MAP_FACE_HEADER_WORDS + v];
        if (nIndex < 0)
            throw CError(MAP_MESSAGE_INVALID_INDEX);
        if (nIndex >= Image.nVertices)
            Invalid("faces lump: vertex index " + std::to_string(nIndex) + " at word " +
                    std::to_string(nWord + MAP_FACE_HEADER_WORDS + v) + " is past the " +
                    std::to_string(Image.nVertices) + " vertices");
        pFace->pIndices[v] = nIndex;
    }
    if (pFace->nMapping < 0 || pFace->nMapping >= Image.nMappings)
        Invalid("faces lump: mapping index " + std::to_string(pFace->nMapping) + " at word " +
                std::to_string(nWord + 1) + " is outside the " +
                std::to_string(Image.nMappings) + " mappings");
}

void CMapReader::ReadLeaves()
{
    uint64_t nCount = Count(LUMP_LEAVES, sizeof(CMapLeaf));
    if (nCount == 0)
        return;
    Image.pLeaves = ReadLump<CMapLeaf>(LUMP_LEAVES, nCount);
    Image.nLeafRecords = static_cast<int32_t>(nCount);
    for (uint64_t i = 0; i < nCount; ++i) {
        const CMapLeaf& leaf = Image.pLeaves[i];
        if (leaf.FirstFace < 0 || leaf.FaceCount < 0 ||
            int64_t(leaf.FirstFace) + leaf.FaceCount > Image.nFaces)
            Invalid("leaves lump: leaf " + std::to_string(i) + " has faces " +
                    std::to_string(leaf.FirstFace) + " + " + std::to_string(leaf.FaceCount) +
                    " outside the " + std::to_string(Image.nFaces) + " faces");
    }
}

// A child must name an existing node or leaf. A node child must also have a
// higher number than its parent, and no node may have two parents: the nodes
// then form one tree from node 0, which the run-time tree builder descends
// without meeting a cycle. A leaf has one parent node too, so that the tree
// takes it over once; the one exception is a node with the same leaf on both
// sides, the form of a tree that is a single leaf under its root plane.
void CMapReader::CheckChild(int32_t nNode, int32_t nChild, std::vector<uint8_t>& nodeUsed,
                            std::vector<int32_t>& leafParent)
{
    auto fail = [&](const std::string& what) {
        Invalid("nodes lump: node " + std::to_string(nNode) + " child " + std::to_string(nChild) +
                " " + what);
    };
    if (nChild > 0) {
        int32_t nTarget = nChild - 1;
        if (nTarget >= Image.nNodes)
            fail("names a node past the " + std::to_string(Image.nNodes) + " nodes");
        if (nTarget == 0)
            fail("names the root");
        if (nodeUsed[nTarget]++)
            fail("names a node that already has a parent");
    } else if (nChild < 0) {
        int32_t nTarget = -(nChild + 1);
        if (nTarget >= Image.nLeafRecords)
            fail("names a leaf past the " + std::to_string(Image.nLeafRecords) + " leaves");
        if (leafParent[nTarget] >= 0 && leafParent[nTarget] != nNode)
            fail("names a leaf that already has a parent");
        leafParent[nTarget] = nNode;
    }
}

void CMapReader::ReadNodes()
{
    uint64_t nCount = Count(LUMP_NODES, sizeof(CMapNode));
    if (nCount == 0) {
        if (Image.nFaces > 0)
            Invalid("nodes lump missing while there are faces");
        return;
    }
    Image.pNodes = ReadLump<CMapNode>(LUMP_NODES, nCount);
    Image.nNodes = static_cast<int32_t>(nCount);
    std::vector<uint8_t> nodeUsed(nCount);
    std::vector<int32_t> leafParent(Image.nLeafRecords, -1);
    for (int32_t i = 0; i < Image.nNodes; ++i) {
        CheckChild(i, Image.pNodes[i].Front, nodeUsed, leafParent);
        CheckChild(i, Image.pNodes[i].Back, nodeUsed, leafParent);
    }
}

void CMapReader::Read()
{
    ReadHeader();

    uint64_t nCount = Count(LUMP_VERTICES, sizeof(CVector));
    if (nCount != 0) {
        Image.pVertices = ReadLump<CVector>(LUMP_VERTICES, nCount);
        Image.nVertices = static_cast<int32_t>(nCount);
    }
    nCount = Count(LUMP_MAPPINGS, sizeof(CTexMapping));
    if (nCount != 0) {
        Image.pMappings = ReadLump<CTexMapping>(LUMP_MAPPINGS, nCount);
        Image.nMappings = static_cast<int32_t>(nCount);
    }
    ReadNames();
    ReadFaces();
    ReadLeaves();
    ReadNodes();

    uint32_t nSize = Image.Header.Lumps[LUMP_VISIBILITY].Size;
    if (nSize != 0) {
        int32_t nLeafCount = Image.nLeafRecords;
        int32_t nRowBytes = VisibilityRowBytes(nLeafCount);
        if (uint64_t(nRowBytes) * uint64_t(nLeafCount) > nSize)
            Invalid("visibility lump: " + std::to_string(nSize) + " bytes, short of " +
                    std::to_string(nLeafCount) + " rows of " + std::to_string(nRowBytes));
        Image.pVisibility = ReadLump<uint8_t>(LUMP_VISIBILITY, nSize);
        Image.nVisibilityBytes = nSize;
        Image.nRowBytes = nRowBytes;
        Image.nLeaves = nLeafCount;
    }

    nSize = Image.Header.Lumps[LUMP_LIGHTMAPS].Size;
    if (uint64_t(nSize) < uint64_t(Image.nFaces) * LIGHTMAP_BLOCK_SIZE)
        Invalid("lightmaps lump: " + std::to_string(nSize) + " bytes, short of " +
                std::to_string(Image.nFaces) + " faces of " +
                std::to_string(LIGHTMAP_BLOCK_SIZE));
    if (nSize != 0) {
        Image.pLightmaps = ReadLump<uint8_t>(LUMP_LIGHTMAPS, nSize);
        Image.nLightmapBytes = nSize;
    }
}

} // namespace

EMapRead ReadMapImage(const char* pszPath, CMapImage* pImage)
{
    return ReadMapImage(pszPath, pImage, nullptr);
}

EMapRead ReadMapImage(const char* pszPath, CMapImage* pImage, std::string* pProblem)
{
    std::memset(pImage, 0, sizeof(*pImage));
    if (pProblem)
        pProblem->clear();
    int hFile = OpenFileRead(pszPath);
    if (hFile < 0)
        return MAP_READ_UNABLE_TO_OPEN;
    CFileCloser closer(hFile);
    try {
        CMapReader(hFile, pImage).Read();
    } catch (const CInvalidMap& invalid) {
        FreeMapImage(pImage);
        if (pProblem)
            *pProblem = invalid.Problem;
        return MAP_READ_INVALID;
    } catch (...) {
        FreeMapImage(pImage);
        throw;
    }
    return MAP_READ_OK;
}

void FreeMapImage(CMapImage* pImage)
{
    if (!pImage)
        return;
    if (pImage->pFaces) {
        for (int32_t i = 0; i < pImage->nFaces; ++i)
            delete[] pImage->pFaces[i].pIndices;
    }
    delete[] pImage->pFaces;
    delete[] pImage->pVertices;
    delete[] pImage->pMappings;
    delete[] pImage->pNames;
    delete[] pImage->pLeaves;
    delete[] pImage->pNodes;
    delete[] pImage->pVisibility;
    delete[] pImage->pLightmaps;
    delete[] pImage->ppLeaves;
    FreeTexSizes(&pImage->pTextureSizes);
    std::memset(pImage, 0, sizeof(*pImage));
}

const char* MapReadMessage(EMapRead result)
{
    switch (result) {
    case MAP_READ_OK:
        return "";
    case MAP_READ_UNABLE_TO_OPEN:
        return MAP_MESSAGE_UNABLE_TO_OPEN;
    case MAP_READ_INVALID:
        break;
    }
    return MAP_MESSAGE_INVALID;
}
