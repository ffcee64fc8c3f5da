#include "compiler/map_parser.h"

#include "compiler/face.h"
#include "compiler/face_list.h"
#include "geometry/matrix.h"

namespace {

const char* const KEY_CLASSNAME = "\"classname\"";
const char* const CLASS_WORLDSPAWN = "\"worldspawn\"";

// Reads tokens for the parts of a face and remembers whether the input ran
// out on the way. A token past the end is empty, so it reads as 0 and
// compares unequal to every text.
class CFieldReader {
public:
    explicit CFieldReader(CTokenReader& reader) : Reader(reader) {}

    const CToken& Next()
    {
        if (!Reader.Next(Token)) {
            Token.Free();
            bEnded = true;
        }
        return Token;
    }
    void Skip(int nCount)
    {
        for (int i = 0; i < nCount; ++i)
            Next();
    }
    float Float() { return static_cast<float>(Next().ToFloat()); }
    int32_t Int() { return Next().ToInt(); }
    // A file triple a b c is the world vector (a, c, b).
    CVector Triple()
    {
        const float a = Float();
        const float b = Float();
        const float c = Float();
        return CVector(a, c, b);
    }
    bool Ended() const { return bEnded; }

private:
    CTokenReader& Reader;
    CToken Token;
    bool bEnded = false;
};

// The angle of a rotation in degrees, with pi taken as 3.14159.
float RotationRadians(float fDegrees)
{
    return static_cast<float>(static_cast<double>(fDegrees) * 3.14159 / 180.0);
}

} // namespace

bool ParsePlanePoints(CTokenReader& reader, CPlane* pPlane)
{
    CFieldReader fields(reader);
    CVector points[3];
    for (CVector& point : points) {
        if (!(fields.Next() == "("))
            return false;
        point = fields.Triple();
        fields.Skip(1); // the ")", not checked
    }
    if (fields.Ended())
        return false;
    pPlane->Set(points[0], points[1], points[2]);
    return true;
}

bool ParseTexMapping(CTokenReader& reader, CTexMapping* pMapping)
{
    CFieldReader fields(reader);
    if (!(fields.Next() == "["))
        return false;
    CTexMapping mapping;
    mapping.UAxis = fields.Triple();
    mapping.UOffset = fields.Int();
    fields.Skip(2); // "]" "[", not checked
    mapping.VAxis = fields.Triple();
    mapping.VOffset = fields.Int();
    fields.Skip(1); // "]"
    mapping.Rotation = fields.Float();
    mapping.UScale = fields.Float();
    mapping.VScale = fields.Float();
    if (fields.Ended())
        return false;

    if (mapping.Rotation != 0.0f) {
        // Turn both axes round the face's normal by the rotation.
        const CVector axis = Cross(mapping.VAxis, mapping.UAxis);
        CMatrix rotation(true);
        rotation.RotateAxis(axis, RotationRadians(mapping.Rotation), true);
        mapping.UAxis = Normalized(Transform(mapping.UAxis, rotation));
        mapping.VAxis = Normalized(Transform(mapping.VAxis, rotation));
    }
    *pMapping = mapping;
    return true;
}

bool ParseBrush(CTokenReader& reader, CMapData* pMap)
{
    int32_t nFaces = 0;
    for (;;) {
        CPlane plane;
        if (!ParsePlanePoints(reader, &plane))
            break;
        CToken name;
        if (!reader.Next(name))
            break;
        CTexMapping mapping;
        if (!ParseTexMapping(reader, &mapping))
            break;

        CLeafFace face;
        const bool bMade = MakeBaseFace(g_fBaseFaceSize, plane, &face);
        CFaceEntry* pEntry = bMade ? AddFaceEntry(&pMap->pFaces, face) : nullptr;
        FreeFace(&face);
        if (!pEntry)
            return false;

        // No texture size is known yet: the default size divides.
        SetTexCoords(&pEntry->Face, mapping, nullptr);
        pEntry->pPlaneNode = FindOrAddPlane(&pMap->pPlanes, plane);
        pEntry->pNameNode = FindOrAddName(&pMap->pNames, name);
        pEntry->pMappingNode = FindOrAddMapping(&pMap->pMappings, mapping);
        ++pMap->FaceCount;
        ++nFaces;
    }
    // The brush's faces are the first nFaces entries of the list.
    ClipBrushFaces(pMap->pFaces, nFaces);
    return true;
}

bool ParseWorldEntity(CTokenReader& reader, CMapData* pMap)
{
    CToken token;
    while (reader.Next(token)) {
        if (token == "{")
            ParseBrush(reader, pMap);
        else if (token == "}")
            return true;
        // keys and values of the entity are skipped
    }
    return false;
}

bool ParseMapFile(const char* pszFileName, CMapData* pMap)
{
    CTokenReader reader;
    if (!reader.Open(pszFileName))
        return false;

    CToken token;
    while (reader.Next(token)) {
        if (!(token == KEY_CLASSNAME))
            continue;
        if (reader.Next(token) && token == CLASS_WORLDSPAWN)
            ParseWorldEntity(reader, pMap);
    }
    reader.Close();

    int32_t nCounter = 0;
    pMap->MappingCount = NumberMappings(pMap->pMappings, &nCounter);
    nCounter = 0;
    pMap->NameCount = NumberNames(pMap->pNames, &nCounter);
    LinkFaceIndices(pMap->pFaces);
    return true;
}

void LinkFaceIndices(CFaceEntry* pEntry)
{
    for (; pEntry; pEntry = pEntry->pNext) {
        if (pEntry->pNameNode)
            pEntry->Face.TextureIndex = pEntry->pNameNode->Index;
        if (pEntry->pMappingNode)
            pEntry->Face.MappingIndex = pEntry->pMappingNode->Index;
    }
}
