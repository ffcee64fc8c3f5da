#include "viewer/map_info.h"

#include "frame/error.h"

#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

const char* const INFO_USAGE =
    "usage: vorlane-info FILE [--open X Y Z]...\n"
    "Reads a compiled map file, checks it, and prints its header and the count of\n"
    "every lump. Each --open prints whether the world point X Y Z (y up) is open\n"
    "or solid by the run-time point test.\n"
    "Exit status: 0 valid file, 1 invalid or unreadable file, 2 bad command line.\n";

const char* const LUMP_TITLES[MAP_LUMP_COUNT] = {
    "vertices", "mappings", "names", "faces", "leaves", "nodes", "visibility", "lightmaps",
};

// Record sizes by lump; 0 where the lump has no fixed record.
const uint32_t LUMP_RECORD_SIZES[MAP_LUMP_COUNT] = {
    sizeof(CVector), sizeof(CTexMapping), MAP_NAME_SIZE, 4, sizeof(CMapLeaf), sizeof(CMapNode),
    0, 0,
};

// The node number of a child that names a node, or -1.
int32_t ChildNode(int32_t nChild)
{
    return nChild > 0 ? nChild - 1 : -1;
}

bool ParseCoordinate(const char* pszText, float* pValue)
{
    char* pEnd = nullptr;
    double value = std::strtod(pszText, &pEnd);
    if (pEnd == pszText || *pEnd != '\0' || !std::isfinite(value) || std::fabs(value) > 3.0e38)
        return false;
    *pValue = static_cast<float>(value);
    return true;
}

bool AllFinite(std::initializer_list<float> values)
{
    for (float value : values) {
        if (!std::isfinite(value))
            return false;
    }
    return true;
}

int Usage(std::FILE* pErr, const std::string& problem)
{
    std::fprintf(pErr, "vorlane-info: %s\n%s", problem.c_str(), INFO_USAGE);
    return 2;
}

} // namespace

bool IsPointOpen(const CMapImage& image, const CVector& point)
{
    if (image.nNodes <= 0 || !image.pNodes)
        return false;
    // Back children still to try, for nodes whose band held the point; each
    // waits until its front side has been found closed.
    // In a tree each node is entered at most once; a file read without the
    // reader's checks may hold a cycle, which ends the walk as solid.
    std::vector<int32_t> pending;
    int32_t nChild = EncodeNodeChild(0);
    int32_t nParent = -1;
    int64_t nEntered = 0;
    for (;;) {
        int32_t nNode = ChildNode(nChild);
        if (nChild < 0 && -(int64_t(nChild) + 1) < image.nLeafRecords)
            return true;
        if (nNode >= 0 && nNode < image.nNodes && ++nEntered <= image.nNodes) {
            const CMapNode& node = image.pNodes[nNode];
            double d = Dot(point, node.Normal) + static_cast<double>(node.Distance);
            double band = static_cast<double>(PLANE_EPSILON);
            if (d > band) {
                nChild = node.Front;
            } else if (d < -band) {
                nChild = node.Back;
            } else {
                pending.push_back(nNode);
                nChild = node.Front;
            }
            nParent = nNode;
            continue;
        }
        // Solid, or a child that does not exist: this way is closed.
        if (pending.empty())
            return false;
        nParent = pending.back();
        pending.pop_back();
        nChild = image.pNodes[nParent].Back;
    }
}

std::vector<std::string> FindMapWarnings(const CMapImage& image)
{
    std::vector<std::string> warnings;
    for (int i = 0; i < MAP_LUMP_COUNT; ++i) {
        uint32_t nRecord = LUMP_RECORD_SIZES[i];
        uint32_t nSize = image.Header.Lumps[i].Size;
        if (nRecord != 0 && nSize % nRecord != 0)
            warnings.push_back(std::string(LUMP_TITLES[i]) + " lump: " + std::to_string(nSize) +
                               " bytes is no multiple of " + std::to_string(nRecord) +
                               "; the remainder is ignored");
    }

    std::vector<uint8_t> faceHeld(image.nFaces);
    for (int32_t i = 0; i < image.nLeafRecords; ++i) {
        const CMapLeaf& leaf = image.pLeaves[i];
        for (int32_t f = 0; f < leaf.FaceCount; ++f)
            faceHeld[leaf.FirstFace + f] = 1;
    }
    int32_t nLoose = 0;
    for (uint8_t bHeld : faceHeld)
        nLoose += bHeld ? 0 : 1;
    if (nLoose > 0)
        warnings.push_back(std::to_string(nLoose) + " faces belong to no leaf");

    // The reader has checked that the nodes make one tree without cycles or
    // shared children, in any numbering: a walk from node 0 finds everything
    // reachable.
    if (image.nNodes > 0) {
        std::vector<uint8_t> nodeReached(image.nNodes), leafReached(image.nLeafRecords);
        std::vector<int32_t> pending{0};
        nodeReached[0] = 1;
        while (!pending.empty()) {
            const int32_t i = pending.back();
            pending.pop_back();
            for (int32_t nChild : {image.pNodes[i].Front, image.pNodes[i].Back}) {
                if (nChild > 0 && nChild - 1 < image.nNodes && !nodeReached[nChild - 1]) {
                    nodeReached[nChild - 1] = 1;
                    pending.push_back(nChild - 1);
                } else if (nChild < 0 && -(int64_t(nChild) + 1) < image.nLeafRecords) {
                    leafReached[-(nChild + 1)] = 1;
                }
            }
        }
        int32_t nNodesLost = 0, nLeavesLost = 0;
        for (uint8_t b : nodeReached)
            nNodesLost += b ? 0 : 1;
        for (uint8_t b : leafReached)
            nLeavesLost += b ? 0 : 1;
        if (nNodesLost > 0)
            warnings.push_back(std::to_string(nNodesLost) + " nodes are not reached from node 0");
        if (nLeavesLost > 0)
            warnings.push_back(std::to_string(nLeavesLost) + " leaves are not reached from node 0");
    } else if (image.nLeafRecords > 0) {
        warnings.push_back("no nodes: every point is solid and no leaf is reached");
    }

    uint64_t nVisibility = uint64_t(image.nRowBytes) * uint64_t(image.nLeaves);
    if (image.pVisibility && image.nVisibilityBytes > nVisibility)
        warnings.push_back("visibility lump: " +
                           std::to_string(image.nVisibilityBytes - nVisibility) +
                           " bytes past the last row");
    uint64_t nLightmaps = uint64_t(image.nFaces) * LIGHTMAP_BLOCK_SIZE;
    if (image.nLightmapBytes > nLightmaps)
        warnings.push_back("lightmaps lump: " + std::to_string(image.nLightmapBytes - nLightmaps) +
                           " bytes past the last face's block");
    return warnings;
}

std::vector<std::string> FindMapProblems(const CMapImage& image)
{
    std::vector<std::string> problems;
    for (int32_t i = 0; i < image.nNodes; ++i) {
        const CMapNode& node = image.pNodes[i];
        if (!AllFinite({node.Distance, node.Normal.x, node.Normal.y, node.Normal.z}))
            problems.push_back("node " + std::to_string(i) + ": the plane is not finite");
    }
    for (int32_t i = 0; i < image.nMappings; ++i) {
        const CTexMapping& m = image.pMappings[i];
        if (!AllFinite({m.UAxis.x, m.UAxis.y, m.UAxis.z, m.VAxis.x, m.VAxis.y, m.VAxis.z, m.UScale,
                        m.VScale}))
            problems.push_back("mapping " + std::to_string(i) +
                               ": an axis or a scale is not finite");
    }
    return problems;
}

void PrintMapSummary(std::FILE* pOut, const char* pszPath, const CMapImage& image)
{
    std::fprintf(pOut, "file: %s\n", pszPath);
    std::fprintf(pOut, "size: %" PRIu64 " bytes\n", image.nFileBytes);
    std::fprintf(pOut, "magic: %.4s\n", image.Header.Magic);
    std::fprintf(pOut, "%-12s %10s %10s\n", "lump", "offset", "size");
    for (int i = 0; i < MAP_LUMP_COUNT; ++i) {
        const CMapLump& lump = image.Header.Lumps[i];
        if (lump.Size == 0)
            std::fprintf(pOut, "%-12s %10s %10s\n", LUMP_TITLES[i], "-", "absent");
        else
            std::fprintf(pOut, "%-12s %10" PRIu32 " %10" PRIu32 "\n", LUMP_TITLES[i], lump.Offset,
                         lump.Size);
    }
    std::fprintf(pOut, "vertices: %d\n", image.nVertices);
    std::fprintf(pOut, "mappings: %d\n", image.nMappings);
    std::fprintf(pOut, "texture names: %d\n", image.nNames);
    std::fprintf(pOut, "faces: %d\n", image.nFaces);
    std::fprintf(pOut, "leaves: %d\n", image.nLeafRecords);
    std::fprintf(pOut, "nodes: %d\n", image.nNodes);
    if (image.pVisibility)
        std::fprintf(pOut, "visibility: %d rows of %d bytes\n", image.nLeaves, image.nRowBytes);
    else
        std::fprintf(pOut, "visibility: absent\n");
    std::fprintf(pOut, "lightmaps: %" PRIu32 " bytes, %" PRIu32 " blocks\n", image.nLightmapBytes,
                 image.nLightmapBytes / LIGHTMAP_BLOCK_SIZE);
}

int RunMapInfo(int argc, char** argv, std::FILE* pOut, std::FILE* pErr)
{
    const char* pszPath = nullptr;
    std::vector<CVector> points;
    for (int i = 1; i < argc; ++i) {
        const char* pszArg = argv[i];
        if (std::strcmp(pszArg, "--help") == 0 || std::strcmp(pszArg, "-h") == 0) {
            std::fputs(INFO_USAGE, pOut);
            return 0;
        }
        if (std::strcmp(pszArg, "--open") == 0) {
            if (i + 3 >= argc)
                return Usage(pErr, "--open needs three coordinates");
            CVector point;
            if (!ParseCoordinate(argv[i + 1], &point.x) || !ParseCoordinate(argv[i + 2], &point.y) ||
                !ParseCoordinate(argv[i + 3], &point.z))
                return Usage(pErr, "--open coordinates must be numbers");
            points.push_back(point);
            i += 3;
            continue;
        }
        if (pszArg[0] == '-' && pszArg[1] != '\0')
            return Usage(pErr, std::string("unknown option ") + pszArg);
        if (pszPath)
            return Usage(pErr, "only one FILE");
        pszPath = pszArg;
    }
    if (!pszPath)
        return Usage(pErr, "no FILE given");

    CMapImage image;
    std::string problem;
    EMapRead result;
    try {
        result = ReadMapImage(pszPath, &image, &problem);
    } catch (const CError& error) {
        // A negative vertex index: the reader's one hard failure.
        std::fprintf(pErr, "vorlane-info: %s: %s\nvorlane-info: %s: %s\n", pszPath,
                     MAP_MESSAGE_INVALID, pszPath, error.GetMessage());
        return 1;
    }
    if (result != MAP_READ_OK) {
        std::fprintf(pErr, "vorlane-info: %s: %s\n", pszPath, MapReadMessage(result));
        if (!problem.empty())
            std::fprintf(pErr, "vorlane-info: %s: %s\n", pszPath, problem.c_str());
        return 1;
    }

    PrintMapSummary(pOut, pszPath, image);
    std::vector<std::string> warnings = FindMapWarnings(image);
    for (const std::string& warning : warnings)
        std::fprintf(pOut, "warning: %s\n", warning.c_str());
    const std::vector<std::string> problems = FindMapProblems(image);
    for (const std::string& problem : problems)
        std::fprintf(pOut, "problem: %s\n", problem.c_str());
    if (warnings.empty() && problems.empty())
        std::fprintf(pOut, "problems: none\n");
    for (const CVector& point : points)
        std::fprintf(pOut, "%g %g %g: %s\n", point.x, point.y, point.z,
                     IsPointOpen(image, point) ? "open" : "solid");
    FreeMapImage(&image);
    return problems.empty() ? 0 : 1;
}
