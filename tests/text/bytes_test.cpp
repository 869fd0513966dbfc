// The byte tables, every entry against the rule it stands for: a slip in one entry of one table
// shows only for that byte, in whatever number, match or message happens to meet it.
#include <cctype>

#include "support/ut_test.h"

// Upper case changes a-z only; digit values 0-35 name their digit in v_c; word bytes are the
// printable ones and 128-254, text bytes add blank and tab; a word byte or blank names itself, a
// tab is eight blanks, 255 "<?>", every other byte a bracketed name.
TEST(Bytes, EveryEntryFollowsItsRule) {
    EXPECT_STREQ(v_c, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    for (int c = 0; c < 256; c++) {
        SCOPED_TRACE(c);
        const int up = islower(c) ? c - 32 : c;
        EXPECT_EQ(ch_upper[c], up);
        EXPECT_EQ(c_v[c], isdigit(c) ? c - '0' : isalpha(c) ? up - 'A' + 10 : 255);
        const bool word = (c > ' ' && c < 127) || (c > 127 && c < 255);
        EXPECT_EQ(ch_dm[c], (word ? ch_word : 0) | (word || c == ' ' || c == '\t' ? ch_text : 0) |
                                (isalpha(c) ? ch_letter : 0) | (c == '0' || c == '1' ? ch_bin : 0) |
                                (isdigit(c) ? ch_dec : 0) | (c >= '0' && c <= '7' ? ch_oct : 0) |
                                (isxdigit(c) ? ch_hex : 0));
        const std::string name = ch_ech[c];
        if (word || c == ' ')
            EXPECT_EQ(name, std::string(1, static_cast<char>(c)));
        else if (c == '\t' || c == 0 || c == 7 || c == 255)
            EXPECT_EQ(name, c == '\t' ? "        " : c == 0 ? "<NUL>" : c == 7 ? "<BELL>" : "<?>");
        else
            EXPECT_TRUE(name.size() > 2 && name.front() == '<' && name.back() == '>') << name;
    }
}
