#include "compiler/map_writer.h"

#include "platform/files.h"

#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

// The records are written from memory as they stand, so the host's byte order
// has to be the file's.
static_assert(std::endian::native == std::endian::little,
              "compiled map files are little-endian; this build needs a little-endian host");

namespace {

struct CLumpData {
    const void* pData;
    uint64_t nSize;
};

template <typename T>
CLumpData Lump(const std::vector<T>& records)
{
    return {records.data(), static_cast<uint64_t>(records.size()) * sizeof(T)};
}

bool Fail(std::string* pError, const std::string& path, const std::string& what)
{
    if (pError)
        *pError = path + ": " + what;
    return false;
}

// Writes all of the bytes, going on after a short write.
bool WriteAll(int hFile, const void* pData, uint64_t nSize)
{
    const char* pByte = static_cast<const char*>(pData);
    while (nSize > 0) {
        ssize_t nDone = ::write(hFile, pByte, nSize);
        if (nDone < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        pByte += nDone;
        nSize -= static_cast<uint64_t>(nDone);
    }
    return true;
}

// Creates a new file beside target whose name no other file has; its
// descriptor, with the name in *pTemp, or -1.
int CreateTempBeside(const std::string& target, std::string* pTemp)
{
    for (int nTry = 0; nTry < 100; ++nTry) {
        *pTemp = target + ".tmp" + std::to_string(::getpid()) + "_" + std::to_string(nTry);
        int hFile = ::open(pTemp->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (hFile >= 0 || errno != EEXIST)
            return hFile;
    }
    return -1;
}

} // namespace

bool WriteCompiledMap(const char* pszPath, const CCompiledMap& map, std::string* pError)
{
    std::string shown = pszPath ? pszPath : "";
    std::string target = MapPath(pszPath);
    if (target.empty())
        return Fail(pError, shown, "no output file name");
    // A file that is there under another case is the one replaced, as the
    // file layer would open it.
    std::string existing = FindFileNoCase(target);
    if (!existing.empty())
        target = existing;

    const CLumpData lumps[MAP_LUMP_COUNT] = {
        Lump(map.Vertices), Lump(map.Mappings), Lump(map.Names),      Lump(map.FaceWords),
        Lump(map.Leaves),   Lump(map.Nodes),    Lump(map.Visibility), Lump(map.Lightmaps),
    };

    CMapFileHeader header;
    std::memcpy(header.Magic, MAP_MAGIC, sizeof(header.Magic));
    uint64_t nOffset = MAP_HEADER_SIZE;
    for (int i = 0; i < MAP_LUMP_COUNT; ++i) {
        header.Lumps[i] = {0, 0};
        if (lumps[i].nSize == 0)
            continue;
        // Offsets and sizes are 32-bit in the directory.
        if (nOffset + lumps[i].nSize > UINT32_MAX)
            return Fail(pError, shown, "compiled map too large (over 4 GiB)");
        header.Lumps[i] = {static_cast<uint32_t>(nOffset), static_cast<uint32_t>(lumps[i].nSize)};
        nOffset += lumps[i].nSize;
    }

    std::string temp;
    int hFile = CreateTempBeside(target, &temp);
    if (hFile < 0)
        return Fail(pError, shown, std::string("cannot create file: ") + std::strerror(errno));

    bool bOk = WriteAll(hFile, &header, sizeof(header));
    for (int i = 0; bOk && i < MAP_LUMP_COUNT; ++i)
        bOk = WriteAll(hFile, lumps[i].pData, lumps[i].nSize);
    int nError = bOk ? 0 : errno;
    if (bOk && ::fsync(hFile) != 0) {
        bOk = false;
        nError = errno;
    }
    if (::close(hFile) != 0 && bOk) {
        bOk = false;
        nError = errno;
    }
    if (bOk && ::rename(temp.c_str(), target.c_str()) != 0) {
        bOk = false;
        nError = errno;
    }
    if (!bOk) {
        ::unlink(temp.c_str());
        return Fail(pError, shown, std::string("cannot write file: ") + std::strerror(nError));
    }
    return true;
}
