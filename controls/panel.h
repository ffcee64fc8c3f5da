#pragma once
// CPanel: a control that draws a polygon in screen pixels, in one colour or
// with a texture modulated by that colour, with its children on top.
#include "controls/control.h"
#include "geometry/vertex.h"

#include <cstdint>

class CTextureSurface;

// White with alpha 0x5F.
constexpr uint32_t PANEL_DEFAULT_COLOUR = 0x5FFFFFFF;

class CPanel : public CControl {
public:
    CPanel();
    // Frees the vertices and the texture name; the texture reference is
    // given back by Release only.
    ~CPanel() override;

    // The children.
    void Update(CApplication* pApp) override;
    // The polygon as one fan when it has 3 vertices or more, then the
    // children.
    void Draw(CApplication* pApp) override;
    // Gives back the texture (when not flat), frees the name and vertices,
    // then what CControl frees.
    void Release(CApplication* pApp) override;
    // True: the colour alone; false: the texture modulated by the colour.
    virtual void SetFlat(bool bValue);
    // Gives back the texture of the stored name, then acquires pszName and
    // keeps its name. True when that texture exists.
    virtual bool SetTexture(CApplication* pApp, const char* pszName);
    // Shows only after the next BuildQuad.
    virtual void SetColour(uint32_t nColour);

    uint32_t GetColour() const { return Colour; }
    // Takes a copy of a convex polygon wound clockwise on the screen (y
    // down); false, keeping the old polygon, for anything else, for fewer
    // than 3 vertices and without memory.
    bool SetVertices(const CScreenVertex* pVerticesIn, int32_t nCount);
    // Four vertices on the region's bounding rectangle, top left first and
    // clockwise, textured 0..1, in the panel's colour. False without a
    // region or memory.
    bool BuildQuad();

    CTextureSurface* pTexture; // shared; the texture drawn now
    uint32_t Colour;           // packed ARGB
    int32_t bFlat;
    CScreenVertex* pVertices;  // owned
    int32_t VertexCount;
    char* pTextureName;        // owned; name under which pTexture was acquired

private:
    void FreeVertices();
};
