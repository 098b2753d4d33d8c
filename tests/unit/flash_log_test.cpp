#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#ifndef _WIN32
#include <sys/resource.h>
#endif

#include "core/json_check.h"
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
    // (A whole file's digest: the flash log line of `linkport flash`, against
    // Qt's own hash, in Cli.EachAdapterKindReadsAndFlashesItsDemoFile.)
    EXPECT_FALSE(Sha256OfFile("no such firmware file.hex"));
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

TEST(FlashLog, AnAttemptIsOnRecordFromItsStartAndDamagedLinesAreCounted)
{
    test::TempDir dir;
    const std::string path = dir.file("sub/flash-log.jsonl");
    FlashLogEntry entry{.adapterKind = "WLP", .filePath = "C:\\fw\\\"new\".hex",
                        .messages = {{"line 1\r\nline 2", "Title"}}, .recordsSent = 12};
    ASSERT_TRUE(BeginFlashLogAttempt(entry, path));
    entry.result = "success";
    ASSERT_TRUE(EndFlashLogAttempt(entry, path));
    // The next attempt is killed half-way: only its first line is written.
    FlashLogEntry killed{.adapterKind = "B&B SIP", .filePath = "app.hex"};
    ASSERT_TRUE(BeginFlashLogAttempt(killed, path));
    EXPECT_NE(killed.attempt, entry.attempt);
    // A line cut short by a full disk, then an entry glued to it, a line of
    // garbage left without its line end: each one damaged line, the rest
    // read, and the next entry starts a line of its own.
    const std::string whole = test::readFile(path);
    const std::string firstLine = whole.substr(0, whole.find('\n'));
    test::writeFile(path, whole + "{\"time\":\"2026" + firstLine + "\n\n{}}");
    ASSERT_TRUE(AppendFlashLog(FlashLogEntry{.result = "failure"}, path));

    const FlashLogContents log = ReadFlashLog(path);
    EXPECT_EQ(log.damagedLines, 2);
    EXPECT_EQ(log.interrupted, 1);
    ASSERT_EQ(log.entries.size(), 3u);
    EXPECT_NE(log.entries[0].find(R"("result":"success")"), std::string::npos) << log.entries[0];
    EXPECT_NE(log.entries[0].find(R"("file":"C:\\fw\\\"new\".hex")"), std::string::npos);
    EXPECT_NE(log.entries[0].find(R"("messages":[{"text":"line 1\r\nline 2","title":"Title"}])"), std::string::npos);
    EXPECT_NE(log.entries[0].find(R"("records":12)"), std::string::npos);
    EXPECT_NE(log.entries[1].find(R"("result":"interrupted")"), std::string::npos) << log.entries[1];
    EXPECT_NE(log.entries[1].find(R"("file":"app.hex")"), std::string::npos);
    EXPECT_NE(log.entries[2].find(R"("result":"failure")"), std::string::npos);
    for (const std::string& e : log.entries)
        EXPECT_TRUE(CheckJsonObject(e)) << e;

    // A log that cannot be written says so and nothing more.
    std::string error;
    test::writeFile(dir.file("plain"), "x");
    EXPECT_FALSE(AppendFlashLog(entry, dir.file("plain/flash-log.jsonl"), &error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(ReadFlashLog(dir.file("missing")).entries.empty());
}

TEST(JsonCheck, WholeObjectsOnlyAndTheirMembers)
{
    for (const char* good : {R"({"a":1,"b":[true,false,null,-1.5e3,"x\"\u00fc"],"c":{}})", " {} ",
                             "{\"\xC3\xBC\":\"\xF0\x9F\x98\x80\"}"})
        EXPECT_TRUE(CheckJsonObject(good)) << good;
    // Two entries glued, a text cut short, a leading zero, a trailing comma,
    // a control character, a bad escape, Latin-1 and an overlong "/" in a
    // text, no object, nothing.
    for (const char* bad : {R"({"a":1}{"b":2})", R"({"a":"cut)", R"({"a":01})", R"({"a":1,})", "{\"a\":\"\x01\"}",
                            R"({"a":"\x"})", "{\"a\":\"\xFC\"}", "{\"a\":\"\xC0\xAF\"}", "[1]", ""})
        EXPECT_FALSE(CheckJsonObject(bad)) << bad;
    EXPECT_FALSE(CheckJsonObject("{\"a\":" + std::string(kMaxJsonDepth + 1, '[') + std::string(kMaxJsonDepth + 1, ']') + "}"));

    std::vector<JsonMemberSpan> members;
    const std::string text = R"({"attempt":"ab","n":{"result":"x"},"result":"started"})";
    ASSERT_TRUE(CheckJsonObject(text, &members));
    ASSERT_EQ(members.size(), 3u); // the nested "result" is not one of them
    EXPECT_EQ(members[2].key + "=" + text.substr(members[2].begin, members[2].end - members[2].begin),
              "result=\"started\"");
}

#ifndef _WIN32
// A full disk, staged with a file-size limit: the write is cut short, and
// the writer must not leave the piece behind for the next entry to glue to.
TEST(FlashLog, AWriteCutShortLeavesNoFragment)
{
    test::TempDir dir;
    const std::string path = dir.file("flash-log.jsonl");
    FlashLogEntry entry{.adapterKind = "WLP", .filePath = std::string(300, 'f'), .result = "success"};
    ASSERT_TRUE(AppendFlashLog(entry, path));
    const std::string before = test::readFile(path);

    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto* previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = before.size() + 100;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string error;
    const bool written = AppendFlashLog(entry, path, &error);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);

    EXPECT_FALSE(written);
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(test::readFile(path), before);
    ASSERT_TRUE(AppendFlashLog(entry, path));
    const FlashLogContents log = ReadFlashLog(path);
    EXPECT_EQ(log.entries.size(), 2u);
    EXPECT_EQ(log.damagedLines, 0);
}
#endif
