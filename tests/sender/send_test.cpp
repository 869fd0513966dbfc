// The header zast sends and the destination directory it names: exact bytes, and the refusals
// made before connecting for what the receiver could not take.
#include "support/ut_test.h"
#include "send.h"

TEST(Send, HeaderIsThreeFieldsEachEndedByCarriageReturn) {
    const std::string f256(256, 'n'), f257(257, 'n');
    // name, directory, size, the header or the start of the refusal
    const std::tuple<const char*, const char*, uint64_t, std::string> rows[] = {
        {f256.c_str(), "/tmp/in", 2147483647, f256 + "\r/tmp/in\r2147483647\r"},
        {"a", "", 2147483648, "the file is too large: "},
        {"a\rb", "", 1, "the file name holds a carriage return"},
        {"a", f257.c_str(), 1, "the destination directory is longer than 256 characters"}};
    for (const auto& [name, dir, size, want] : rows) {
        SCOPED_TRACE(want);
        std::string got = take(ZAST_HDR(name, dir, size));
        EXPECT_EQ(err_ ? std::string(ERR_S()).substr(0, want.size()) : got, want);
    }
}

TEST(Send, DestinationIsTheSpecsDirectoryOrTheGivenOne) {
    const char* rows[][3] = {{"/opt/app/tool.bin", nullptr, "/opt/app"},
                             {"/x", nullptr, "/"},
                             {"d//*.txt", nullptr, "d"},
                             {"d/x", "/tmp/in/", "/tmp/in"}};
    for (const auto& r : rows) {
        EXPECT_EQ(take(ZAST_DIR(r[0], r[1])), r[2]) << r[0];
    }
}
