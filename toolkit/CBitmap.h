#pragma once
// An image held as a cairo ARGB32 surface (premultiplied, bytes B, G, R, A), reference counted.

#include "Geometry.h"

typedef struct _cairo_surface cairo_surface_t;

namespace VSTGUI {

class CDrawContext;

class CReferenceCounter {
public:
    virtual ~CReferenceCounter() = default;
    void remember() { ++refCount; }
    void forget() { if (--refCount <= 0) delete this; }
    int getNbReference() const { return refCount; }

private:
    int refCount = 1;
};

class CBitmap : public CReferenceCounter {
public:
    // The PNG resource of that number; a missing or broken image leaves the bitmap unloaded.
    explicit CBitmap(int resourceId);
    // Cleared to transparent black.
    CBitmap(CCoord width, CCoord height);
    ~CBitmap() override;

    CBitmap(const CBitmap&) = delete;
    CBitmap& operator=(const CBitmap&) = delete;

    CCoord getWidth() const { return width; }
    CCoord getHeight() const { return height; }
    bool isLoaded() const { return surface != nullptr; }
    int getResourceId() const { return resourceId; }

    // Without alpha the image is copied, not blended.
    void setNoAlpha(bool v) { noAlpha = v; }
    bool getNoAlpha() const { return noAlpha; }

    // Draws the part of the image starting at `offset` into `rect` of the context.
    virtual void draw(CDrawContext* context, const CRect& rect, const CPoint& offset = CPoint());
    virtual void drawTransparent(CDrawContext* context, const CRect& rect, const CPoint& offset = CPoint());
    virtual void drawAlphaBlend(CDrawContext* context, const CRect& rect, const CPoint& offset = CPoint(),
                                unsigned char alpha = 128);

    cairo_surface_t* getSurface() const { return surface; }

protected:
    CBitmap() = default;
    // Takes ownership of a surface (may be null).
    void adopt(cairo_surface_t* s);
    void paint(CDrawContext* context, const CRect& rect, const CPoint& offset, double alpha, bool copy);

    cairo_surface_t* surface = nullptr;
    CCoord width = 0;
    CCoord height = 0;
    int resourceId = 0;
    bool noAlpha = false;
};

// Decodes PNG bytes to an ARGB32 surface; null when they are not a readable PNG.
cairo_surface_t* decodePng(const unsigned char* data, size_t size);

}  // namespace VSTGUI
