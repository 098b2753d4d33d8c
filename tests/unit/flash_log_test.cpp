#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "core/json_writer.h"
#include "firmware/flash_log.h"
#include "firmware/sha256.h"
#include "support/temp_dir.h"

using namespace lp;

TEST(Sha256, KnownVectorsWholeAndInPieces)
{
    EXPECT_EQ(Sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const std::string twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    EXPECT_EQ(Sha256Hex(twoBlocks), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    // Pieces that straddle the 64-byte blocks give the same digest.
    Sha256 pieces;
    const std::string million(1000000, 'a');
    for (size_t i = 0; i < million.size(); i += 997)
        pieces.update(std::string_view(million).substr(i, 997));
    EXPECT_EQ(pieces.hexDigest(), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");

    test::TempDir dir;
    test::writeFile(dir.file("f"), twoBlocks);
    EXPECT_EQ(Sha256OfFile(dir.file("f")).value_or(""), Sha256Hex(twoBlocks));
    EXPECT_FALSE(Sha256OfFile(dir.file("missing")));
}

TEST(JsonWriter, EscapesEverythingOutsidePrintableAscii)
{
    EXPECT_EQ(jsonQuote("a\"b\\c\r\n\t\x01\x7f"), "\"a\\\"b\\\\c\\r\\n\\t\\u0001\\u007f\"");
    EXPECT_EQ(jsonQuote("\xC3\xBC\xE2\x82\xAC"), "\"\\u00fc\\u20ac\"");   // ü €
    EXPECT_EQ(jsonQuote("\xF0\x9F\x98\x80"), "\"\\ud83d\\ude00\"");       // a pair
    // Bytes that are no UTF-8: lone continuation, overlong, cut short.
    EXPECT_EQ(jsonQuote("\x80" "x\xC0\xAF" "y\xE2\x82"), "\"\\ufffdx\\ufffd\\ufffdy\\ufffd\\ufffd\"");

    JsonWriter w;
    w.beginObject().member("a", 1).key("b").beginArray().value("x").value(true).null().endArray();
    w.key("c").beginObject().endObject().member("d", 1.5).endObject();
    EXPECT_EQ(w.text(), R"({"a":1,"b":["x",true,null],"c":{},"d":1.500})");
}

TEST(FlashLog, AppendsOneLinePerAttemptAndSkipsBrokenLines)
{
    test::TempDir dir;
    const std::string path = dir.file("sub/flash-log.jsonl");
    FlashLogEntry entry{.adapterKind = "WLP", .filePath = "C:\\fw\\\"new\".hex", .result = "failure",
                        .messages = {{"line 1\r\nline 2", "Title"}}, .recordsSent = 12};
    ASSERT_TRUE(AppendFlashLog(entry, path));
    entry.result = "success";
    ASSERT_TRUE(AppendFlashLog(entry, path));
    // A line cut short (the disk filled up) is left out when read.
    test::writeFile(dir.file("sub/flash-log.jsonl"), test::readFile(path) + "{\"time\":\"2026");
    const std::vector<std::string> lines = ReadFlashLog(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(R"("file":"C:\\fw\\\"new\".hex")"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find(R"("messages":[{"text":"line 1\r\nline 2","title":"Title"}])"), std::string::npos);
    EXPECT_NE(lines[1].find(R"("result":"success")"), std::string::npos);
    EXPECT_NE(lines[1].find(R"("records":12)"), std::string::npos);
    EXPECT_EQ(lines[1].find('\n'), std::string::npos);

    // A log that cannot be written says so and nothing more.
    std::string error;
    test::writeFile(dir.file("plain"), "x");
    EXPECT_FALSE(AppendFlashLog(entry, dir.file("plain/flash-log.jsonl"), &error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(ReadFlashLog(dir.file("missing")).empty());
}
