// A/B slot controls and the undo history, driven without a window.

#include "ABSwitcher.h"
#include "PlugFixture.h"

namespace {

struct Slots {
    TestPlug plug;
    EditorState state;
    ABSwitcher ab{plug, state};
};

} // namespace

TEST_F(PlugTest, ToggleLastTwoSwapsBetweenTheLastChoices) {
    Slots s;
    s.ab.open();
    s.ab.choose(3);
    EXPECT_EQ(s.plug.getCurrentAB(), 3);
    EXPECT_EQ(s.state.lastAB, 0);
    EXPECT_EQ(s.ab.toggle(kToggleLastTwo), 0);
    EXPECT_EQ(s.ab.toggle(kToggleLastTwo), 3);
    EXPECT_EQ(s.plug.getCurrentAB(), 3);
    // Choosing the slot already selected: the toggle then stays there.
    s.ab.choose(3);
    EXPECT_EQ(s.ab.toggle(kToggleLastTwo), 3);
    EXPECT_FALSE(s.plug.isEditTouched(kABBank)); // each move is a closed gesture
}

TEST_F(PlugTest, ToggleVisitedWalksTheVisitedSlots) {
    Slots s;
    s.ab.open();
    EXPECT_EQ(s.ab.toggle(kToggleVisited), 0); // only the current slot visited
    s.ab.choose(2);
    s.ab.choose(5);
    EXPECT_EQ(s.ab.toggle(kToggleVisited), 0);
    EXPECT_EQ(s.ab.toggle(kToggleVisited), 2);
    EXPECT_EQ(s.ab.toggle(kToggleVisited), 5);
    EXPECT_EQ(s.plug.getCurrentAB(), 5);
}

TEST_F(PlugTest, ToggleNonemptyFindsTheNextSlotWithBands) {
    Slots s;
    s.ab.open();
    // All slots empty: every other slot is probed and the walk comes back.
    hostCalls().clear();
    EXPECT_EQ(s.ab.toggle(kToggleNonempty), 0);
    EXPECT_EQ(s.plug.getCurrentAB(), 0);
    EXPECT_EQ(s.plug.getParameter(kABBank), 0.0f);

    s.ab.choose(4);
    s.plug.set(kBand9State, 2);
    s.ab.choose(1);
    EXPECT_EQ(s.ab.toggle(kToggleNonempty), 4);
    EXPECT_EQ(s.plug.paramValue(kBand9State), 2.0f);
    EXPECT_EQ(s.plug.getParameter(kABBank), 4 / 7.0f);
    s.ab.copyTo(6);
    EXPECT_EQ(s.plug.abSlot(6).values[kBand9State], s.plug.getParameter(kBand9State));
    EXPECT_EQ(s.plug.getCurrentAB(), 4);
}

TEST_F(PlugTest, UndoAndRedoWalkTheGestures) {
    TestPlug p;
    const auto gesture = [&](int32_t index, float normal) {
        p.beginEdit(index);
        p.setParameterAutomated(index, normal);
        p.endEdit(index);
    };
    gesture(kBand1Gain, 0.7f);
    gesture(kBand1Gain, 0.9f);
    gesture(kBand2Q, 0.2f);
    ASSERT_EQ(p.undoEntries().size(), 3u);

    hostCalls().clear();
    p.undo();
    EXPECT_NE(p.getParameter(kBand2Q), 0.2f);
    ASSERT_EQ(hostCalls().size(), 3u); // begin, automate, end
    EXPECT_EQ(hostCalls()[1].opcode, audioMasterAutomate);
    p.undo();
    EXPECT_EQ(p.getParameter(kBand1Gain), 0.7f);
    EXPECT_TRUE(p.canRedo());
    p.redo();
    EXPECT_EQ(p.getParameter(kBand1Gain), 0.9f);
    EXPECT_EQ(p.undoEntries().size(), 2u);
    EXPECT_FALSE(p.isEditTouched(kBand1Gain));

    // A new gesture keeps the redo stack: the older value comes back on redo.
    gesture(kBand3Gain, 0.1f);
    p.redo();
    EXPECT_EQ(p.getParameter(kBand2Q), 0.2f);
    EXPECT_FALSE(p.canRedo());
    p.redo(); // empty: nothing
    EXPECT_EQ(p.getParameter(kBand2Q), 0.2f);
    p.clearUndo();
    EXPECT_FALSE(p.canUndo());
    p.undo();
    EXPECT_EQ(p.getParameter(kBand2Q), 0.2f);
}
