// Driver versions are shown from the PE files' own version resources. The
// images here are written by the test itself, so every field is known.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "core/context.h"
#include "firmware/modFileInformation.h"
#include "platform/pe_version_reader.h"
#include "support/temp_dir.h"

using namespace lp;

namespace {

// A little-endian word (2 bytes) or double word (4) at `at`.
void put(std::string& b, size_t at, uint32_t v, int bytes = 4)
{
    for (int i = 0; i < bytes; ++i)
        b[at + i] = static_cast<char>(v >> (8 * i));
}

// A PE32 (or PE32+) image with one .rsrc section at RVA 0x1000, file offset
// 0x200, holding type 16 -> id 1 -> language 0x409 -> VS_VERSIONINFO.
struct PeWriter {
    uint32_t ms = 0, ls = 0;
    bool pe32Plus = false;

    static constexpr size_t kRaw = 0x200;
    static constexpr uint32_t kVa = 0x1000;
    // Offsets inside the resource section.
    static constexpr size_t kRoot = 0x00, kNames = 0x18, kLangs = 0x30, kData = 0x48, kInfo = 0x58;

    std::string build() const
    {
        std::string b(kRaw + 0x200, '\0');
        b[0] = 'M';
        b[1] = 'Z';
        put(b, 0x3C, 0x40);
        std::memcpy(&b[0x40], "PE\0\0", 4);
        put(b, 0x44, pe32Plus ? 0x8664 : 0x14C, 2);
        put(b, 0x46, 1, 2);
        size_t optSize = pe32Plus ? 240 : 224;
        put(b, 0x54, static_cast<uint32_t>(optSize), 2);
        size_t opt = 0x58;
        put(b, opt, pe32Plus ? 0x20B : 0x10B, 2);
        size_t dirs = opt + (pe32Plus ? 112 : 96);
        put(b, dirs - 4, 16);
        put(b, dirs + 16, kVa);
        put(b, dirs + 20, 0x100);
        size_t sec = opt + optSize;
        std::memcpy(&b[sec], ".rsrc", 5);
        put(b, sec + 8, 0x100);
        put(b, sec + 12, kVa);
        put(b, sec + 16, 0x200);
        put(b, sec + 20, kRaw);

        auto dir = [&](size_t at, uint32_t id, uint32_t target) {
            put(b, kRaw + at + 14, 1, 2);
            put(b, kRaw + at + 16, id);
            put(b, kRaw + at + 20, target);
        };
        dir(kRoot, 16, 0x80000000u | kNames);
        dir(kNames, 1, 0x80000000u | kLangs);
        dir(kLangs, 0x409, kData);
        put(b, kRaw + kData, kVa + kInfo);
        put(b, kRaw + kData + 4, 92);

        size_t info = kRaw + kInfo;
        put(b, info, 92, 2);
        put(b, info + 2, 52, 2);
        const char* key = "VS_VERSION_INFO";
        for (size_t i = 0; key[i]; ++i)
            put(b, info + 6 + 2 * i, static_cast<uint8_t>(key[i]), 2);
        put(b, info + 40, 0xFEEF04BD);
        put(b, info + 44, 0x00010000);
        put(b, info + 48, ms);
        put(b, info + 52, ls);
        return b;
    }
};

std::string image(uint16_t major, uint16_t minor, uint16_t build, uint16_t revision)
{
    return PeWriter{.ms = uint32_t(major) << 16 | minor, .ls = uint32_t(build) << 16 | revision}.build();
}

std::string versionText(const std::string& img)
{
    auto v = PeVersionReader::fromImage(img);
    if (!v)
        return "<none>";
    return FormatFileVersion(v->fileVersionMS, v->fileVersionLS);
}

} // namespace

TEST(FileVersion, FormatsEveryPatternOfTheFixedBlock)
{
    // The words are split by 65535, not 65536, one less for a negative
    // value, and each part reads as a signed word: so a minor or revision of
    // 65535 is -1 and carries one into the part before it, and a build with
    // its top bit set makes the low value negative, written whole with the
    // "0000" pattern.
    const struct {
        uint16_t major, minor, build, revision;
        const char* text;
    } cases[] = {
        {2, 0, 1, 5, "2.00.01.05"},                  {5, 1, 0, 0, "5.01.0000"},
        {1, 0, 0, 0, "1.00.0000"},                   {1, 12, 3, 40, "1.12.03.40"},
        {1, 2, 32768, 0, "1.02.-2147483648"},        {1, 2, 65535, 65535, "1.02.-0001"},
        {1, 65535, 0, 0, "2.-01.0000"},              {3, 4, 1, 65535, "3.04.02.-01"},
        {0, 65534, 0, 0, "0.-02.0000"},              {65535, 65535, 0, 0, "-1.-01.0000"},
        {32768, 0, 0, 0, "-32769.00.0000"},          {0x1234, 0x8000, 0, 0, "4660.-32768.0000"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(versionText(image(c.major, c.minor, c.build, c.revision)), c.text) << c.text;
    EXPECT_EQ(versionText(PeWriter{.ms = 0x00070008, .ls = 0x00090001, .pe32Plus = true}.build()), "7.08.09.01");
}

TEST(FileVersion, MalformedImagesGiveNoVersion)
{
    std::string good = image(2, 0, 1, 5);
    // Every truncation: no version, no out-of-range read (the sanitizer build
    // would catch one).
    for (size_t n = 0; n < PeWriter::kRaw + PeWriter::kInfo + 92; ++n)
        EXPECT_EQ(versionText(good.substr(0, n)), "<none>") << n;
    EXPECT_EQ(versionText(good.substr(0, PeWriter::kRaw + PeWriter::kInfo + 92)), "2.00.01.05");

    auto patched = [&](size_t at, uint32_t v) {
        std::string b = good;
        put(b, at, v);
        return versionText(b);
    };
    const size_t raw = PeWriter::kRaw;
    EXPECT_EQ(patched(raw + PeWriter::kRoot + 20, 0x80000000u), "<none>");   // type level points at itself
    EXPECT_EQ(patched(raw + PeWriter::kLangs + 20, 0x80000000u), "<none>");  // language level loops to the root
    EXPECT_EQ(patched(raw + PeWriter::kNames + 20, 0xFFFFFFFFu), "<none>");  // subdirectory far outside
    EXPECT_EQ(patched(raw + PeWriter::kData, 0xFFFFFFF0u), "<none>");        // data address wraps
    EXPECT_EQ(patched(raw + PeWriter::kData + 4, 40), "<none>");             // data too small for the block
    EXPECT_EQ(patched(raw + PeWriter::kRoot + 12, 0xFFFFFFFFu), "<none>");   // 131070 entries claimed
    EXPECT_EQ(patched(raw + PeWriter::kRoot + 16, 17), "<none>");            // no type 16
    EXPECT_EQ(patched(0x3C, 0xFFFFFFF0u), "<none>");                         // PE header beyond the end
    EXPECT_EQ(patched(0x58 + 0xE0 + 20, 0x7FFFFFFF), "<none>");              // section data beyond the end
    EXPECT_EQ(patched(0x58 + 0xE0 + 8, 0x60), "<none>");                     // virtual size cuts the block off
    EXPECT_EQ(patched(raw + PeWriter::kInfo + 40, 0xFEEF04BE), "<none>");    // a wrong signature
    EXPECT_EQ(patched(raw + PeWriter::kInfo + 6, 'X'), "<none>");            // not VS_VERSION_INFO
    EXPECT_EQ(versionText("MZ is where this text begins, but it is no program"), "<none>");
}

TEST(FileVersion, ReadsFilesThroughTheContext)
{
    test::TempDir dir;
    test::writeFile(dir.file("ftser2k.sys"), image(2, 0, 1, 5));

    PeVersionReader reader;
    Context ctx;
    EXPECT_EQ(GetFileVersion(ctx, dir.file("ftser2k.sys")), ""); // no reader: no version
    ctx.ports.fileVersions = &reader;
    EXPECT_EQ(GetFileVersion(ctx, dir.file("ftser2k.sys")), "2.00.01.05");
    EXPECT_EQ(GetFileVersion(ctx, dir.file("missing.sys")), "");
    EXPECT_EQ(GetFileVersion(ctx, dir.path()), ""); // a folder
#ifndef _WIN32
    // The Summary screen names the driver the Windows way.
    std::filesystem::create_directories(dir.file("System32/Drivers"));
    test::writeFile(dir.file("System32/Drivers/FTSER2K.SYS"), image(5, 1, 0, 0));
    EXPECT_EQ(GetFileVersion(ctx, dir.path() + "\\system32\\drivers\\ftser2k.sys"), "5.01.0000");
    EXPECT_EQ(GetFileVersion(ctx, dir.path() + "\\system32\\drivers\\absent.sys"), "");
#endif
}
