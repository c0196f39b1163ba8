#include "CHighlightControl.h"

namespace VSTGUI {

namespace {
void closedRect(CDrawContext* c, CCoord l, CCoord t, CCoord r, CCoord b) {
    c->moveTo(CPoint(l, t));
    c->lineTo(CPoint(r, t));
    c->lineTo(CPoint(r, b));
    c->lineTo(CPoint(l, b));
    c->lineTo(CPoint(l, t));
}
}  // namespace

void CHighlightControl::drawHighlight(CDrawContext* context, const CRect& rect) {
    const CDrawMode mode = context->getDrawMode();
    const CCoord width = context->getLineWidth();
    const CColor colour = context->getFrameColor();
    context->setDrawMode(kCopyMode);
    context->setLineWidth(1);
    if (learnFrame) {
        context->setFrameColor(learnColour);
        closedRect(context, rect.left, rect.top, rect.right - 2, rect.bottom - 2);
    }
    if (selectFrame) {
        context->setFrameColor(selectColour);
        closedRect(context, rect.left, rect.top, rect.right - 2, rect.bottom - 2);
        closedRect(context, rect.left + 1, rect.top + 1, rect.right - 3, rect.bottom - 3);
    }
    context->setDrawMode(mode);
    context->setLineWidth(width);
    context->setFrameColor(colour);
}

}  // namespace VSTGUI
