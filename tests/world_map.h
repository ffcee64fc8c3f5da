#pragma once
// Test helpers for the world tree: a small compiled map held in vectors, a
// viewer on the null device, and the tree built the way the viewer builds it.
#include "platform/null_device.h"
#include "viewer/map_reader.h"
#include "viewer_fixture.h"
#include "world/world_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline CMapLeaf Leaf(int32_t nFirst, int32_t nCount)
{
    return CMapLeaf{nFirst, nCount, 0, {}};
}

// The plane x = fX facing +x, with its children as the file writes them.
inline CMapNode NodeX(float fX, int32_t nFront, int32_t nBack)
{
    return CMapNode{-fX, CVector(1, 0, 0), nFront, nBack, 0};
}

struct CTestMap {
    // Gives the face number. Lightmap texel (x, y) of face f is (f, x, y).
    int32_t AddFace(const std::vector<CVector>& corners, int32_t nTexture = 0)
    {
        Indices.emplace_back();
        for (const CVector& corner : corners) {
            Indices.back().push_back(int32_t(Vertices.size()));
            Vertices.push_back(corner);
        }
        const int32_t nFace = int32_t(Indices.size()) - 1;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                Lightmaps.insert(Lightmaps.end(), {uint8_t(nFace), uint8_t(x), uint8_t(y)});
        Faces.push_back(CMapFace{int32_t(corners.size()), 0, nTexture, nullptr});
        return nFace;
    }
    // A face of n corners: draws are told apart by their vertex counts.
    int32_t AddFan(int n, int32_t nTexture = 0)
    {
        std::vector<CVector> corners;
        for (int i = 0; i < n; ++i)
            corners.emplace_back(float(i), float(i * i % 7), 0.0f);
        return AddFace(corners, nTexture);
    }
    void SetVisibility(const std::vector<std::vector<int>>& rows)
    {
        const size_t nRow = size_t(VisibilityRowBytes(int32_t(Leaves.size())));
        Visibility.assign(Leaves.size() * nRow, 0); // rows not given are empty
        for (size_t i = 0; i < rows.size(); ++i)
            for (int j : rows[i])
                Visibility[i * nRow + (j >> 3)] |= uint8_t(1 << (j & 7));
    }

    // The image as the reader and LoadMap leave it for the tree builder.
    CMapImage& Image(CApplication* pApp)
    {
        for (size_t f = 0; f < Faces.size(); ++f)
            Faces[f].pIndices = Indices[f].data();
        Map = CMapImage{};
        Map.pVertices = Vertices.data();
        Map.pMappings = &Mapping;
        Map.pTextureSizes = pSizes;
        Map.pFaces = Faces.data();
        Map.nFaces = int32_t(Faces.size());
        Map.pLeaves = Leaves.data();
        Map.pNodes = Nodes.empty() ? nullptr : Nodes.data();
        Map.nVertices = int32_t(Vertices.size());
        Map.nMappings = 1;
        Map.nLeafRecords = int32_t(Leaves.size());
        Map.nNodes = int32_t(Nodes.size());
        if (!Visibility.empty()) {
            Map.pVisibility = Visibility.data();
            Map.nLeaves = int32_t(Leaves.size());
            Map.nRowBytes = VisibilityRowBytes(Map.nLeaves);
        }
        Map.pLightmaps = Lightmaps.data();
        LeafObjects.assign(Leaves.size(), nullptr);
        Map.ppLeaves = LeafObjects.data();
        Map.pApp = pApp;
        return Map;
    }

    // Every leaf made and built, then the tree from node 0, which takes the
    // leaves over. Gives the root's Build result.
    bool BuildWorld(CWorldNode& world, CApplication* pApp)
    {
        CMapImage& image = Image(pApp);
        for (CWorldLeaf*& pLeaf : LeafObjects)
            pLeaf = new CWorldLeaf;
        for (size_t i = 0; i < Leaves.size(); ++i)
            EXPECT_TRUE(LeafObjects[i]->Build(image, int32_t(i)));
        return world.Build(image, 0);
    }

    ~CTestMap() { FreeTexSizes(&pSizes); }

    // u along x, v along y, one texel per unit.
    CTexMapping Mapping = {CVector(1, 0, 0), CVector(0, 1, 0), 0, 0, 1.0f, 1.0f, 0.0f};
    std::vector<CVector> Vertices;
    std::vector<std::vector<int32_t>> Indices;
    std::vector<CMapFace> Faces;
    std::vector<CMapLeaf> Leaves;
    std::vector<CMapNode> Nodes;
    std::vector<uint8_t> Visibility;
    std::vector<uint8_t> Lightmaps;
    std::vector<CWorldLeaf*> LeafObjects;
    CTexSizeNode* pSizes = nullptr;
    CMapImage Map;
};

// A viewer on the null device with a map in hand and a tree of its own.
class WorldTest : public ViewerTest {
protected:
    void Build()
    {
        ASSERT_TRUE(Map.BuildWorld(World, &App));
        GetNullCallLog().clear();
        GetNullDeviceState().Draws.clear();
    }

    // Texture binds and draws of the call log, in order.
    static std::vector<std::string> DrawLog()
    {
        std::vector<std::string> lines;
        for (const std::string& line : GetNullCallLog())
            if (line.starts_with("SetTexture ") || line.starts_with("DrawPrimitive "))
                lines.push_back(line);
        return lines;
    }

    CTestMap Map;
    CWorldNode World; // declared last: its destructor frees the leaves first
};
