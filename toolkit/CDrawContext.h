#pragma once
// Drawing over a cairo context. Coordinates given to the drawing calls are local: the context's
// offset is added to reach the surface. The clip rectangle is kept in surface coordinates.

#include <string>

#include "Geometry.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;
struct PixelBuffer;

namespace VSTGUI {

struct PixelRect;

enum CDrawStyle { kDrawStroked = 0, kDrawFilled, kDrawFilledAndStroked };
// Copy mode draws without anti-aliasing, as pixel-exact lines expect. The fast mode smooths
// with fewer coverage levels, at about half the cost for long curves.
enum CDrawMode { kCopyMode = 0, kAntialias, kAntialiasFast };
enum CHoriTxtAlign { kLeftText = 0, kCenterText, kRightText };
enum CTxtFace { kNormalFace = 0, kBoldFace = 1, kItalicFace = 2 };

class CDrawContext {
public:
    // Draws into `cr` (referenced) whose surface covers `surfaceRect`.
    CDrawContext(cairo_t* cr, const CRect& surfaceRect);
    // Draws into an image surface (referenced).
    explicit CDrawContext(cairo_surface_t* surface);
    virtual ~CDrawContext();

    CDrawContext(const CDrawContext&) = delete;
    CDrawContext& operator=(const CDrawContext&) = delete;

    cairo_t* getCairo() const { return cr; }

    void setLineWidth(CCoord width) { lineWidth = width; }
    CCoord getLineWidth() const { return lineWidth; }
    void setDrawMode(CDrawMode mode);
    CDrawMode getDrawMode() const { return drawMode; }
    void setFrameColor(const CColor& c) { frameColor = c; }
    CColor getFrameColor() const { return frameColor; }
    void setFillColor(const CColor& c) { fillColor = c; }
    CColor getFillColor() const { return fillColor; }
    void setFontColor(const CColor& c) { fontColor = c; }
    CColor getFontColor() const { return fontColor; }
    void setFont(const char* face, CCoord size, int style = kNormalFace);
    CCoord getFontSize() const { return fontSize; }

    // Pen lines in the frame colour.
    void moveTo(const CPoint& p) { pen = p; }
    void lineTo(const CPoint& p);
    CPoint getPenPosition() const { return pen; }
    void drawLines(const CPoint* points, int count);  // one connected polyline
    void drawPolygon(const CPoint* points, int count, CDrawStyle style = kDrawStroked);
    // Frame is drawn inside the rectangle; fill covers it exactly.
    void drawRect(const CRect& rect, CDrawStyle style = kDrawStroked);
    void fillRect(const CRect& rect) { drawRect(rect, kDrawFilled); }
    void drawEllipse(const CRect& rect, CDrawStyle style = kDrawStroked);
    void drawPoint(const CPoint& p, const CColor& color);

    // One path of many segments, filled and/or stroked at once.
    void beginPath();
    void pathMoveTo(const CPoint& p);
    void pathLineTo(const CPoint& p);
    void pathCurveTo(const CPoint& c1, const CPoint& c2, const CPoint& end);
    void closePath();
    void drawPath(CDrawStyle style);

    // Function graphs: ys[i] is the curve's y at x0 + i * dx (local coordinates), about one value
    // per pixel column; x0 = column + 0.5 puts a value on a column's centre. Both are
    // anti-aliased and written straight into image surfaces, many times faster than paths.
    // The fill covers the area between the curve and y = baseline, from the first x to the last.
    void fillUnderCurve(const float* ys, int count, float x0, float dx, float baseline, const CColor& colour);
    // The curve as a line `width` pixels across, measured square to the curve, with square ends.
    void drawCurve(const float* ys, int count, float x0, float dx, const CColor& colour, float width = 1.5f);

    void drawString(const char* utf8, const CRect& rect, CHoriTxtAlign align = kCenterText);
    CCoord getStringWidth(const char* utf8);

    // Clip in local coordinates (the offset is added); reset covers the whole surface.
    void setClipRect(const CRect& clip);
    CRect& getClipRect(CRect& clip) const;
    void resetClipRect();
    CRect getAbsoluteClipRect() const { return clipRect; }
    void setAbsoluteClipRect(const CRect& clip);

    void setOffset(const CPoint& o);
    CPoint getOffset() const { return offset; }
    CRect getSurfaceRect() const { return surfaceRect; }

protected:
    void applyState();
    void setSource(const CColor& c);
    void stroke();
    double pixelShift() const;
    // Fills `pixels` with the target's memory when it is an image surface we can write, and
    // `toPixel` with the shift from local coordinates to its pixels.
    bool directPixels(PixelBuffer& pixels, CPoint& toPixel) const;
    void curvePath(const float* ys, int count, float x0, float dx);
    void markDirty(const PixelRect& pixels, const CPoint& toPixel);

    cairo_t* cr = nullptr;
    CRect surfaceRect;
    CRect clipRect;
    CPoint offset;
    CPoint pen;
    CCoord lineWidth = 1;
    CDrawMode drawMode = kCopyMode;
    CColor frameColor = kBlackCColor;
    CColor fillColor = kWhiteCColor;
    CColor fontColor = kBlackCColor;
    std::string fontFace = "sans-serif";
    CCoord fontSize = 12;
    int fontStyle = kNormalFace;
};

// A drawing context over an image surface of its own.
class COffscreenContext : public CDrawContext {
public:
    COffscreenContext(int width, int height);
    ~COffscreenContext() override;
    cairo_surface_t* getSurface() const { return surface; }
    int getWidth() const { return int(surfaceRect.width()); }
    int getHeight() const { return int(surfaceRect.height()); }
    // Copies the part at `srcOffset` into `destRect` of another context, blending by alpha.
    void copyFrom(CDrawContext* dest, const CRect& destRect, const CPoint& srcOffset = CPoint());

private:
    cairo_surface_t* surface;
};

}  // namespace VSTGUI
