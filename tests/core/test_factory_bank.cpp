// The shipped factory bank: built from its source, it loads into 20 named programs whose bands
// are what the source says.

#include <cjson/cJSON.h>

#include <set>

#include "ChunkCodec.h"
#include "PlugFixture.h"

TEST_F(PlugTest, FactoryBankHoldsTheSourcesProgramsAndBands) {
    std::vector<uint8_t> bank, source;
    ASSERT_TRUE(readFile(TESS_FACTORY_BANK_FILE, &bank));
    ASSERT_TRUE(readFile(TESS_FACTORY_SOURCE, &source));
    source.push_back(0);
    cJSON* doc = cJSON_Parse(reinterpret_cast<const char*>(source.data()));
    const cJSON* programs = cJSON_GetObjectItem(doc, "programs");

    TestPlug plug;
    plug.setChunk(bank.data(), int32_t(bank.size()), false);
    std::set<std::string> names;
    int32_t p = 0;
    const cJSON* program;
    cJSON_ArrayForEach(program, programs) {
        SCOPED_TRACE(p);
        EXPECT_STREQ(plug.program(p).name, cJSON_GetObjectItem(program, "name")->valuestring);
        names.insert(plug.program(p).name);
        plug.setProgram(p);
        int32_t band = 0;
        const cJSON* bandSource;
        cJSON_ArrayForEach(bandSource, cJSON_GetObjectItem(program, "bands")) {
            EXPECT_EQ(plug.paramValue(bandParam(band, kKindState)), 2.0f);
            EXPECT_EQ(plug.bandOrder(p)[size_t(band)], band);
            const double hz = cJSON_GetObjectItem(bandSource, "frequency")->valuedouble;
            EXPECT_NEAR(plug.displayValue(bandParam(band, kKindFrequency), plug.getParameter(bandParam(band, kKindFrequency))),
                        hz, hz * 1e-4);
            if (const cJSON* gain = cJSON_GetObjectItem(bandSource, "gain")) {
                EXPECT_NEAR(plug.displayValue(bandParam(band, kKindGain), plug.getParameter(bandParam(band, kKindGain))),
                            gain->valuedouble, 1e-3);
            }
            ++band;
        }
        // Bands the program does not use stay off.
        EXPECT_EQ(plug.paramValue(bandParam(band, kKindState)), 0.0f);
        ++p;
    }
    EXPECT_EQ(p, kNumPrograms);
    EXPECT_EQ(names.size(), size_t(kNumPrograms));
    cJSON_Delete(doc);
}
