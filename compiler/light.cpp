#include "compiler/light.h"

#include "compiler/face_lightmap.h"
#include "compiler/light_passes.h"
#include "compiler/light_shot.h"
#include "compiler/token.h"
#include "compiler/tree_walk.h"
#include "geometry/plane.h"

#include <new>
#include <vector>

namespace {

int32_t TruncToInt32(double value)
{
    if (!(value == value))
        return 0;
    if (value >= 2147483647.0)
        return INT32_MAX;
    if (value <= -2147483648.0)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

} // namespace

CLightNode* ReadLightList(CTexNameNode* pNames, const char* pszPath)
{
    CTokenReader reader;
    if (!reader.Open(pszPath))
        return nullptr;
    while (!reader.IsEnd()) {
        CToken tokens[5];
        bool bComplete = true;
        for (CToken& token : tokens) {
            if (!reader.Next(token)) {
                bComplete = false;
                break;
            }
        }
        if (!bComplete)
            break;
        CTexNameNode* pName = FindName(pNames, tokens[0].GetString());
        if (!pName)
            continue;
        CLightRecord record;
        record.Red = tokens[1].ToInt();
        record.Green = tokens[2].ToInt();
        record.Blue = tokens[3].ToInt();
        record.Intensity = tokens[4].ToInt();
        record.Reserved = 0;
        pName->Light = record;
    }
    reader.Close();
    CLightNode* pRoot = nullptr;
    CollectLights(pNames, &pRoot);
    return pRoot;
}

void CollectLights(CTexNameNode* pNameNode, CLightNode** ppRoot)
{
    if (!ppRoot)
        return;
    // Node, lower subtree, higher subtree, on a stack of its own: a name tree
    // of sorted names is a chain.
    std::vector<CTexNameNode*> pending;
    if (pNameNode)
        pending.push_back(pNameNode);
    while (!pending.empty()) {
        CTexNameNode* pNode = pending.back();
        pending.pop_back();
        if (pNode->Light.Intensity != 0)
            InsertLight(ppRoot, pNode);
        if (pNode->pHigher)
            pending.push_back(pNode->pHigher);
        if (pNode->pLower)
            pending.push_back(pNode->pLower);
    }
}

CLightNode* InsertLight(CLightNode** ppRoot, const CTexNameNode* pNameNode)
{
    if (!ppRoot || !pNameNode)
        return nullptr;
    CLightNode* pNew = new (std::nothrow) CLightNode;
    if (!pNew)
        return nullptr;
    pNew->Key = pNameNode->Index;
    pNew->Record = pNameNode->Light;
    CLightNode** ppLink = ppRoot;
    while (*ppLink)
        ppLink = (*ppLink)->Key >= pNew->Key ? &(*ppLink)->pLeft : &(*ppLink)->pRight;
    *ppLink = pNew;
    return pNew;
}

CLightNode* FindLight(CLightNode* pRoot, int32_t key)
{
    while (pRoot && pRoot->Key != key)
        pRoot = pRoot->Key > key ? pRoot->pLeft : pRoot->pRight;
    return pRoot;
}

void FreeLights(CLightNode** ppRoot)
{
    if (!ppRoot)
        return;
    std::vector<CLightNode*> pending;
    if (*ppRoot)
        pending.push_back(*ppRoot);
    *ppRoot = nullptr;
    while (!pending.empty()) {
        CLightNode* pNode = pending.back();
        pending.pop_back();
        if (pNode->pLeft)
            pending.push_back(pNode->pLeft);
        if (pNode->pRight)
            pending.push_back(pNode->pRight);
        delete pNode;
    }
}

bool MakeGrids(CBuildNode* pNode, CLightNode* pLights)
{
    WalkFrontFirst(pNode, false, [&](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->bVisited)
            return;
        if (pLeaf->pGrids) {
            for (int32_t i = 0; i < pLeaf->FaceCount; ++i)
                FreeGrid(&pLeaf->pGrids[i]);
            delete[] pLeaf->pGrids;
        }
        pLeaf->pGrids = new (std::nothrow) CLumelGrid[pLeaf->FaceCount > 0 ? pLeaf->FaceCount : 0];
        if (!pLeaf->pGrids)
            return;
        for (int32_t i = 0; i < pLeaf->FaceCount; ++i) {
            CLeafFace* pFace = &pLeaf->pFaces[i];
            const CLightNode* pLight = FindLight(pLights, pFace->TextureIndex);
            if (pLight)
                InitEmitterGrid(&pLeaf->pGrids[i], pFace, &pLight->Record);
            else
                InitGrid(&pLeaf->pGrids[i], pFace);
        }
    });
    return true;
}

bool InitGrid(CLumelGrid* pGrid, CLeafFace* pFace)
{
    if (!pGrid)
        return false;
    FreeGrid(pGrid);
    pGrid->Mean = CLightRecord();
    pGrid->pLumels = new (std::nothrow) CLumel[LUMEL_GRID_COUNT];
    if (!pGrid->pLumels)
        return false;
    pGrid->LumelCount = LUMEL_GRID_COUNT;

    CVector normal;
    CVector u;
    CVector v;
    CVector origin;
    MapFaceLightmap(pFace, &normal, &u, &v, &origin);
    const float area = static_cast<float>(u.Length() * v.Length());
    for (int32_t x = 0; x < LUMEL_GRID_SIZE; ++x) {
        for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
            CLumel& lumel = pGrid->pLumels[y * LUMEL_GRID_SIZE + x];
            lumel.Area = area;
            // The texel's low corner; it may lie outside a face that does
            // not fill its rectangle.
            lumel.Position = origin + u * static_cast<float>(x) + v * static_cast<float>(y);
        }
    }
    pGrid->Normal = normal;
    return true;
}

bool InitEmitterGrid(CLumelGrid* pGrid, CLeafFace* pFace, const CLightRecord* pRecord)
{
    if (!InitGrid(pGrid, pFace))
        return false;
    for (int32_t i = 0; i < pGrid->LumelCount; ++i) {
        if (pRecord)
            pGrid->pLumels[i].Light = *pRecord;
        pGrid->pLumels[i].bEmitter = true;
    }
    return true;
}

void FreeGrid(CLumelGrid* pGrid)
{
    if (!pGrid)
        return;
    delete[] pGrid->pLumels;
    pGrid->pLumels = nullptr;
    pGrid->LumelCount = 0;
}

CLumel* GetLumel(CLumelGrid* pGrid, int32_t x, int32_t y)
{
    if (!pGrid || !pGrid->pLumels)
        return nullptr;
    const int64_t index = static_cast<int64_t>(y) * LUMEL_GRID_SIZE + x;
    if (index < 0 || index >= pGrid->LumelCount)
        return nullptr;
    return &pGrid->pLumels[index];
}

bool ShootEmitters(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pNode)
        return false;
    RunDirectPass(pRoot, pNode, CLightRun());
    return true;
}

bool AverageGrids(CBuildNode* pNode)
{
    if (!pNode)
        return false;
    WalkFrontFirst(pNode, false, [](CBuildNode* pLeaf) {
        if (!pLeaf->pFaces || !pLeaf->pVisibleLeaves || !pLeaf->bVisited || !pLeaf->pGrids)
            return;
        for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
            CLumelGrid& grid = pLeaf->pGrids[g];
            CLightRecord mean;
            for (int32_t i = 0; grid.pLumels && i < grid.LumelCount; ++i) {
                const CLightRecord& light = grid.pLumels[i].Light;
                if (light.Red >= 0 && light.Green >= 0 && light.Blue >= 0)
                    mean.Add(light);
            }
            // Divided by 256 whatever the number of samples added.
            mean.ScaleLight(MEAN_SCALE);
            const int64_t sum = static_cast<int64_t>(mean.Red) + mean.Green + mean.Blue;
            mean.Intensity = TruncToInt32(static_cast<double>(sum) * MEAN_INTENSITY_SCALE);
            mean.Reserved = 0;
            grid.Mean = mean;
        }
    });
    return true;
}

bool ShootBounce(CBuildNode* pRoot, CBuildNode* pNode)
{
    if (!pRoot || !pNode)
        return true;
    RunBouncePass(pRoot, pNode, CLightRun(), 1);
    return true;
}

void ShootLumel(CBuildNode* pRoot, const CVector* pNormal, const CLumel* pSource,
                CBuildNode* pLeaf)
{
    if (!pSource || !pLeaf || !pLeaf->pGrids || !pNormal || !HasDirection(*pNormal))
        return;
    const CPlane sourcePlane(pSource->Position, *pNormal);
    const double power = ShotPower(*pSource);
    for (int32_t g = 0; g < pLeaf->FaceCount; ++g) {
        CLumelGrid* pGrid = &pLeaf->pGrids[g];
        if (!pGrid->pLumels || pGrid->LumelCount <= 0 || !HasDirection(pGrid->Normal))
            continue;
        // The face turns its back to the source.
        if (CPlane(pGrid->pLumels[0].Position, pGrid->Normal).DistanceTo(pSource->Position) < 0.0)
            continue;
        for (int32_t x = 0; x < LUMEL_GRID_SIZE; ++x) {
            for (int32_t y = 0; y < LUMEL_GRID_SIZE; ++y) {
                CLumel* pSample = GetLumel(pGrid, x, y);
                // Emitters, and the shooter's own face while it bounces.
                if (!pSample || pSample->Light.Intensity != 0)
                    continue;
                if (sourcePlane.DistanceTo(pSample->Position) < 0.0)
                    continue;
                CLightRecord shot;
                if (!MakeShot(*pSource, power, pSample->Position, &shot))
                    continue;
                if (LineOfSight(pRoot, &pSource->Position, &pSample->Position))
                    pSample->Light.SaturateAdd(shot);
            }
        }
    }
}
