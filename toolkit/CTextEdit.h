#pragma once
// A text field: a click starts editing (the field takes the keyboard), Return or a click
// elsewhere commits, Escape cancels. Enough editing for numbers and short names.

#include "CParamDisplay.h"

namespace VSTGUI {

class CTextEdit : public CParamDisplay {
public:
    CTextEdit(const CRect& size, CControlListener* listener, long tag, const char* text = nullptr,
              CBitmap* background = nullptr, long style = 0);
    ~CTextEdit() override;

    virtual void setText(const char* text);
    const char* getText() const { return text.c_str(); }
    void getText(char* out) const;  // at most 255 bytes and a zero
    bool isEditing() const { return editingText; }
    // While editing: the text being typed and the selection (byte offsets).
    const std::string& getEditText() const { return editText; }

    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    long onKeyDown(VstKeyCode& key) override;
    void takeFocus() override;
    void looseFocus() override;
    bool wantsFocus() const override { return true; }

protected:
    void insert(const std::string& utf8);
    void eraseSelection();
    size_t prevChar(size_t pos) const;
    size_t nextChar(size_t pos) const;

    std::string text;
    std::string editText;
    size_t caret = 0;
    size_t anchor = 0;  // selection runs between anchor and caret
    bool editingText = false;
    bool cancelled = false;
};

}  // namespace VSTGUI
