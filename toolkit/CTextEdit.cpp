#include "CTextEdit.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "CFrame.h"
#include "platform/PlatformWindow.h"

namespace VSTGUI {

namespace {
std::string utf8Of(long cp) {
    std::string s;
    if (cp < 0x80) s += char(cp);
    else if (cp < 0x800) {
        s += char(0xC0 | (cp >> 6));
        s += char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        s += char(0xE0 | (cp >> 12));
        s += char(0x80 | ((cp >> 6) & 0x3F));
        s += char(0x80 | (cp & 0x3F));
    } else {
        s += char(0xF0 | (cp >> 18));
        s += char(0x80 | ((cp >> 12) & 0x3F));
        s += char(0x80 | ((cp >> 6) & 0x3F));
        s += char(0x80 | (cp & 0x3F));
    }
    return s;
}
}  // namespace

CTextEdit::CTextEdit(const CRect& r, CControlListener* l, long t, const char* txt, CBitmap* bg, long s)
    : CParamDisplay(r, bg, s) {
    listener = l;
    tag = t;
    horiAlign = kLeftText;
    setText(txt);
}

CTextEdit::~CTextEdit() {
    if (CFrame* f = getFrame(); f && f->getFocusView() == this) f->viewRemoved(this);
}

void CTextEdit::setText(const char* t) {
    text = t ? t : "";
    setDirty();
}

void CTextEdit::getText(char* out) const {
    const size_t n = std::min<size_t>(text.size(), 255);
    std::memcpy(out, text.data(), n);
    out[n] = 0;
}

size_t CTextEdit::prevChar(size_t pos) const {
    if (pos == 0) return 0;
    --pos;
    while (pos > 0 && (uint8_t(editText[pos]) & 0xC0) == 0x80) --pos;
    return pos;
}

size_t CTextEdit::nextChar(size_t pos) const {
    if (pos >= editText.size()) return editText.size();
    ++pos;
    while (pos < editText.size() && (uint8_t(editText[pos]) & 0xC0) == 0x80) ++pos;
    return pos;
}

void CTextEdit::eraseSelection() {
    const size_t a = std::min(anchor, caret), b = std::max(anchor, caret);
    editText.erase(a, b - a);
    caret = anchor = a;
}

void CTextEdit::insert(const std::string& s) {
    eraseSelection();
    editText.insert(caret, s);
    caret += s.size();
    anchor = caret;
}

void CTextEdit::draw(CDrawContext* context) {
    drawBack(context);
    if (!editingText) {
        drawText(context, text.c_str(), size);
        setDirty(false);
        return;
    }
    context->setFont(fontFace.c_str(), fontSize, fontStyle);
    CRect r = size;
    r.inset(2, 0);
    const size_t a = std::min(anchor, caret), b = std::max(anchor, caret);
    const CCoord xa = context->getStringWidth(editText.substr(0, a).c_str());
    const CCoord xb = context->getStringWidth(editText.substr(0, b).c_str());
    if (b > a) {
        context->setFillColor(CColor{80, 120, 200, 255});
        context->fillRect(CRect(r.left + xa, r.top + 2, r.left + xb, r.bottom - 2));
    }
    context->setFontColor(fontColor);
    context->drawString(editText.c_str(), r, kLeftText);
    const CCoord xc = caret == a ? xa : xb;
    context->setFrameColor(fontColor);
    context->setLineWidth(1);
    context->moveTo(CPoint(std::floor(r.left + xc), r.top + 2));
    context->lineTo(CPoint(std::floor(r.left + xc), r.bottom - 3));
    setDirty(false);
}

CMouseEventResult CTextEdit::onMouseDown(CPoint&, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    if (style & kDoubleClickStyle && !(buttons & kDoubleClick)) return kMouseEventNotHandled;
    CFrame* f = getFrame();
    if (editingText) {
        caret = anchor = editText.size();
        setDirty();
    } else if (f) {
        f->setFocusView(this);
    }
    return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
}

void CTextEdit::takeFocus() {
    if (editingText) return;
    editingText = true;
    cancelled = false;
    editText = text;
    // All selected, so typing replaces the old text.
    anchor = 0;
    caret = editText.size();
    if (CFrame* f = getFrame(); f && f->getPlatformWindow()) f->getPlatformWindow()->beginTextInput();
    setDirty();
}

void CTextEdit::looseFocus() {
    if (!editingText) return;
    editingText = false;
    if (CFrame* f = getFrame(); f && f->getPlatformWindow()) f->getPlatformWindow()->endTextInput();
    setDirty();
    if (!cancelled) {
        text = editText;
        beginEdit();
        valueChanged();
        endEdit();
    }
}

long CTextEdit::onKeyDown(VstKeyCode& key) {
    if (!editingText) return -1;
    const bool shift = key.modifier & MODIFIER_SHIFT;
    switch (key.virt) {
        case VKEY_RETURN:
        case VKEY_ENTER:
            if (CFrame* f = getFrame(); f && f->getFocusView() == this) f->setFocusView(nullptr);
            else looseFocus();
            return 1;
        case VKEY_ESCAPE:
            cancelled = true;
            if (CFrame* f = getFrame(); f && f->getFocusView() == this) f->setFocusView(nullptr);
            else looseFocus();
            return 1;
        case VKEY_BACK:
            if (anchor == caret) anchor = prevChar(caret);
            eraseSelection();
            break;
        case VKEY_DELETE:
            if (anchor == caret) anchor = nextChar(caret);
            eraseSelection();
            break;
        case VKEY_LEFT:
            caret = (anchor != caret && !shift) ? std::min(anchor, caret) : prevChar(caret);
            if (!shift) anchor = caret;
            break;
        case VKEY_RIGHT:
            caret = (anchor != caret && !shift) ? std::max(anchor, caret) : nextChar(caret);
            if (!shift) anchor = caret;
            break;
        case VKEY_HOME:
            caret = 0;
            if (!shift) anchor = caret;
            break;
        case VKEY_END:
            caret = editText.size();
            if (!shift) anchor = caret;
            break;
        default:
            if (key.character >= 32 && key.character != 127 && !(key.modifier & MODIFIER_CONTROL)) {
                insert(utf8Of(key.character));
                break;
            }
            if (key.virt == VKEY_SPACE) {
                insert(" ");
                break;
            }
            return -1;
    }
    setDirty();
    return 1;
}

}  // namespace VSTGUI
