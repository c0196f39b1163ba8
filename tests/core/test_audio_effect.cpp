// The effect base against a recording host callback.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "AudioEffect.h"
#include "CoreTestSupport.h"

namespace {

class Effect : public AudioEffectX {
public:
    explicit Effect(audioMasterCallback master) : AudioEffectX(master, 20, 366) {}
    void processReplacing(float**, float**, int32_t) override {}
    void processDoubleReplacing(double**, double**, int32_t) override {}
    void setParameter(int32_t index, float value) override {
        lastIndex = index;
        lastValue = value;
    }
    float getParameter(int32_t) override { return lastValue; }
    void attach(AEffEditor* e) { editor = e; }
    int32_t lastIndex = -1;
    float lastValue = 0;
};

class AudioEffectTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostCalls().clear();
        hostVendor().clear();
    }
};

} // namespace

TEST_F(AudioEffectTest, EditsAndAutomationReachTheHost) {
    Effect e(recordingHost);
    e.beginEdit(57);
    e.setParameterAutomated(57, 0.25f);
    e.endEdit(57);
    e.ioChanged();
    ASSERT_EQ(hostCalls().size(), 4u);
    EXPECT_EQ(hostCalls()[0].opcode, 43);
    EXPECT_EQ(hostCalls()[0].index, 57);
    EXPECT_EQ(hostCalls()[1].opcode, audioMasterAutomate);
    EXPECT_EQ(hostCalls()[1].index, 57);
    EXPECT_EQ(hostCalls()[1].opt, 0.25f);
    EXPECT_EQ(hostCalls()[2].opcode, 44);
    EXPECT_EQ(hostCalls()[3].opcode, audioMasterIOChanged);
    // The automated value went through setParameter first.
    EXPECT_EQ(e.lastIndex, 57);
    EXPECT_EQ(e.lastValue, 0.25f);
}

TEST_F(AudioEffectTest, WithoutACallbackEveryHostCallIsANoOp) {
    Effect e(nullptr);
    EXPECT_FALSE(e.beginEdit(1));
    EXPECT_FALSE(e.endEdit(1));
    EXPECT_FALSE(e.ioChanged());
    e.setParameterAutomated(3, 0.5f);
    EXPECT_EQ(e.lastValue, 0.5f);
    char vendor[64] = "junk";
    EXPECT_FALSE(e.getHostVendorString(vendor));
    EXPECT_STREQ(vendor, "");
    EXPECT_TRUE(hostCalls().empty());
}

TEST_F(AudioEffectTest, PinPropertiesByChannelCountAndHost) {
    Effect e(recordingHost);
    VstPinProperties p;
    ASSERT_TRUE(e.getInputProperties(1, &p));
    EXPECT_STREQ(p.label, "Input 2");
    EXPECT_EQ(p.flags, 7);
    EXPECT_EQ(p.arrangementType, 7); // two inputs
    EXPECT_FALSE(e.getInputProperties(2, &p));
    EXPECT_FALSE(e.getInputProperties(-1, &p));
    hostVendor() = "Ableton";
    ASSERT_TRUE(e.getInputProperties(0, &p));
    EXPECT_EQ(p.flags, 3); // no speaker flag for that host
    ASSERT_TRUE(e.getOutputProperties(0, &p));
    EXPECT_STREQ(p.label, "Output 1");
    EXPECT_EQ(p.flags, 7); // outputs take no vendor test
    EXPECT_EQ(p.arrangementType, 1);

    e.setNumInputs(1);
    e.setNumOutputs(1);
    hostVendor() = "Other";
    ASSERT_TRUE(e.getInputProperties(0, &p));
    EXPECT_EQ(p.flags, 5);
    EXPECT_EQ(p.arrangementType, 1);
    ASSERT_TRUE(e.getOutputProperties(0, &p));
    EXPECT_EQ(p.arrangementType, 0);
    e.setNumInputs(3);
    e.setNumOutputs(3);
    ASSERT_TRUE(e.getInputProperties(2, &p));
    EXPECT_EQ(p.arrangementType, 11);
}

TEST_F(AudioEffectTest, RecordFlagsIdentityAndWheel) {
    Effect e(recordingHost);
    e.canProcessReplacing(true);
    e.canDoubleReplacing(true);
    EXPECT_EQ(e.getAeffect()->flags, 0x1010);
    e.setUniqueID(fourCharacters('T', 's', 'R', 'n'));
    char bytes[4];
    std::memcpy(bytes, &e.getAeffect()->uniqueID, 4);
    EXPECT_EQ(std::string(bytes, 4), "nRsT"); // little-endian storage reads reversed
    EXPECT_EQ(e.getAeffect()->object, &e);
    char text[64];
    e.getVendorString(text);
    EXPECT_STREQ(text, "Ondelane");
    e.getProductString(text);
    EXPECT_STREQ(text, "Tessarine");
    EXPECT_EQ(e.getVstVersion(), 2400);

    const int32_t whee = fourCharacters('W', 'h', 'e', 'e');
    EXPECT_EQ(e.vendorSpecific(fourCharacters('s', 't', 'C', 'A'), whee, 0, 2.f), 0); // no editor
    RecordingEditor wheel;
    e.attach(&wheel);
    EXPECT_EQ(e.vendorSpecific(fourCharacters('s', 't', 'C', 'a'), whee, 0, -1.5f), 1);
    EXPECT_EQ(wheel.lastWheel, -1.5f);
    EXPECT_EQ(e.vendorSpecific(fourCharacters('s', 't', 'C', 'X'), whee, 0, 3.f), 0);
    EXPECT_EQ(e.vendorSpecific(fourCharacters('s', 't', 'C', 'A'), 0, 0, 3.f), 0);
    EXPECT_EQ(wheel.lastWheel, -1.5f);
}
