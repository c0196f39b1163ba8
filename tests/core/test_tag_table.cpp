#include <gtest/gtest.h>

#include "TagTable.h"

TEST(TagTable, NumbersAtRestartsAndEnds) {
    const TagTable& t = tagTable();
    EXPECT_EQ(t.tagFromName("kBypass"), 0);
    EXPECT_EQ(t.tagFromName("kChannel1Level"), 14);
    EXPECT_EQ(t.tagFromName("kBand1State"), 46);
    EXPECT_EQ(t.tagFromName("kBand3Gain"), 70);
    EXPECT_EQ(t.tagFromName("kBand32Phase"), 365);
    EXPECT_EQ(t.tagFromName("kNumParams"), 366);
    EXPECT_EQ(t.tagFromName("kGUIEQGraph"), 500);
    EXPECT_EQ(t.tagFromName("kGUIMeterReadout"), 524);
    EXPECT_EQ(t.tagFromName("kGUIBox1"), 526);
    EXPECT_EQ(t.tagFromName("kGUIGroupNamesChanged"), 543);
    EXPECT_EQ(t.tagFromName("kGUIInstancesChanged"), 547);
    EXPECT_EQ(t.tagFromName("kGUIChannel1Meter"), 569);
    EXPECT_EQ(t.tagFromName("kGUIChannel8Meter"), 576);
    EXPECT_EQ(t.tagFromName("kGUISelectedBand"), 700);
    EXPECT_EQ(t.tagFromName("kNumPrograms"), 20);
    // 366 parameters, kNumParams, 25 tags from 500, 51 from 526, kGUISelectedBand, kNumPrograms.
    EXPECT_EQ(t.size(), 366u + 1 + 25 + 51 + 1 + 1);

    EXPECT_EQ(t.tagFromName("kBand33Gain"), -1);
    EXPECT_EQ(t.tagFromName("kbypass"), -1);
    EXPECT_EQ(t.tagFromName(""), -1);
    EXPECT_EQ(t.tagFromName(nullptr), -1);

    EXPECT_STREQ(t.nameFromTag(70), "kBand3Gain");
    EXPECT_STREQ(t.nameFromTag(20), "kChannel2Mute"); // first of the two entries valued 20
    EXPECT_EQ(t.nameFromTag(525), nullptr);
    EXPECT_EQ(t.nameFromTag(-1), nullptr);
}

// The parsed text and the C++ enumerators are written separately; they must agree everywhere.
TEST(TagTable, MatchesEnumerators) {
    const TagTable& t = tagTable();
#define CHECK_TAG(name) EXPECT_EQ(t.tagFromName(#name), name) << #name;
#define CHECK_TAG_AT(name, value) CHECK_TAG(name)
    CHECK_TAG(kBypass)
    TESS_PARAMS_AFTER_BYPASS(CHECK_TAG)
    TESS_GUI_TAGS(CHECK_TAG, CHECK_TAG_AT)
#undef CHECK_TAG
#undef CHECK_TAG_AT
    for (int32_t i = 0; i < kNumParams; ++i) {
        EXPECT_EQ(t.entry(static_cast<size_t>(i)).value, i);
        EXPECT_STREQ(t.nameFromTag(i), t.entry(static_cast<size_t>(i)).name);
    }
}

TEST(TagTable, ParsesBlanksRestartsAndRepeats) {
    TagTable t;
    t.parseTagText(nullptr);
    EXPECT_EQ(t.size(), 0u);
    t.parseTagText("  alpha = 5 ,\tbeta\n,, gamma=-3, delta ,epsilon=10");
    EXPECT_EQ(t.size(), 5u);
    EXPECT_EQ(t.tagFromName("alpha"), 5);
    EXPECT_EQ(t.tagFromName("beta"), 6);
    EXPECT_EQ(t.tagFromName("gamma"), -3);
    EXPECT_EQ(t.tagFromName("delta"), -2);
    EXPECT_EQ(t.tagFromName("epsilon"), 10);
    // A second parse appends a copy; the first match still answers.
    t.parseTagText("alpha=1");
    EXPECT_EQ(t.size(), 6u);
    EXPECT_EQ(t.tagFromName("alpha"), 5);
    EXPECT_STREQ(t.nameFromTag(1), "alpha");
}
