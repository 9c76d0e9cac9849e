#include "host/CMemoryArchive.h"
#include "tests/support/Test.h"

#include <zlib.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class Action>
int causeOf(Action action) {
    try {
        action();
    } catch (const CArchiveException& error) {
        EXPECT_STRNE(error.what(), "");
        return error.m_cause;
    }
    return CArchiveException::none;
}

TEST(Archive, TellsTheLengthOfTextInTheShortestForm) {
    for (const auto& [length, prefix] : std::vector<std::pair<std::size_t, Bytes>>{
             {0, {0xFF, 0xFE, 0xFF, 0x00}},
             {254, {0xFF, 0xFE, 0xFF, 0xFE}},
             {255, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0x00}},
             {0xFFFD, {0xFF, 0xFE, 0xFF, 0xFF, 0xFD, 0xFF}},
             {0xFFFE, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0x00}},
             {70000, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x70, 0x11, 0x01, 0x00}},
         }) {
        const CString text(std::string(length, 'x'));
        CArchive storing;
        storing << text;
        Bytes begin = storing.bytes();
        EXPECT_EQ(begin.size(), prefix.size() + 2 * length);
        begin.resize(prefix.size());
        EXPECT_EQ(begin, prefix);
        CArchive loading(storing.bytes());
        CString loaded;
        loading >> loaded;
        EXPECT_TRUE(loaded == text) << length;
    }
}

TEST(Archive, LoadsNarrowText) {
    for (const std::size_t length : {std::size_t{3}, std::size_t{300}, std::size_t{70000}}) {
        CArchive storing;
        storing.writeNarrow(std::string(length, 'n'));
        CArchive loading(storing.bytes());
        CString loaded;
        loading >> loaded;
        EXPECT_EQ(loaded.GetLength(), static_cast<int>(length));
    }
    CArchive umlaut(Bytes{2, 0xC3, 0xA4});
    CString text;
    umlaut >> text;
    EXPECT_EQ(text, CString(L"\u00E4"));
}

TEST(Archive, KeepsNumbersLittleEndian) {
    CArchive storing;
    storing << std::int32_t{-2} << std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(storing.bytes(), (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0x80}));
    CArchive loading(storing.bytes());
    std::int32_t small = 0;
    std::int64_t large = 0;
    loading >> small >> large;
    EXPECT_EQ(small, -2);
    EXPECT_EQ(large, std::numeric_limits<std::int64_t>::min());
}

TEST(Archive, NamesTheCauseOfAFailure) {
    CString text;
    std::int64_t number = 0;
    EXPECT_EQ(causeOf([] { CArchive(Bytes{}) << std::int32_t{1}; }), CArchiveException::readOnly);
    EXPECT_EQ(causeOf([&] { CArchive() >> number; }), CArchiveException::writeOnly);
    EXPECT_EQ(causeOf([&] { CArchive(Bytes(7)) >> number; }), CArchiveException::endOfFile);
    const Bytes claimsFourGigabytes{0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(causeOf([&] { CArchive(claimsFourGigabytes) >> text; }),
              CArchiveException::endOfFile);
    const Bytes wideTwice{0xFF, 0xFE, 0xFF, 0xFF, 0xFE, 0xFF, 0x00};
    EXPECT_EQ(causeOf([&] { CArchive(wideTwice) >> text; }), CArchiveException::badSchema);
    const Bytes halfPair{0xFF, 0xFE, 0xFF, 0x01, 0x00, 0xD8};
    EXPECT_EQ(causeOf([&] { CArchive(halfPair) >> text; }), CArchiveException::badSchema);
}

TEST(MemoryArchive, FindsItsSections) {
    CMemoryArchive storing(457);
    EXPECT_TRUE(storing.startSection("One", true));
    storing << 7;
    storing.Close();
    CMemoryArchive loading(storing.detachCompressedData());
    EXPECT_EQ(loading.fileVersion(), 457);
    for (const auto& [name, edit] : test::nearMisses()) {
        EXPECT_FALSE(loading.startSection(edit("One").c_str(), true)) << name;
    }
    EXPECT_EQ(causeOf([&] { loading.startSection("Other", false); }), CArchiveException::badSchema);
    EXPECT_TRUE(CMemoryArchive(loading).startSection("One", false));
    EXPECT_TRUE(loading.startSection("One", true));
    int value = 0;
    loading >> value;
    EXPECT_EQ(value, 7);
}

/// An archive as somebody else would write it: with this content, and this size in its header.
Bytes packed(const Bytes& content, std::size_t size) {
    const auto contentSize = static_cast<uLong>(content.size());
    auto packedSize = compressBound(contentSize);
    Bytes bytes(16 + packedSize);
    compress(bytes.data() + 16, &packedSize, content.data(), contentSize);
    bytes.resize(16 + packedSize);
    const auto put = [&bytes](std::size_t at, std::size_t number) {
        for (int i = 0; i < 4; ++i, number >>= 8U) {
            bytes[at++] = static_cast<std::uint8_t>(number);
        }
    };
    std::copy_n("KMA1", 4, bytes.begin());
    put(12, size);
    put(4, crc32(0, bytes.data() + 8, static_cast<uInt>(bytes.size() - 8)));
    return bytes;
}

TEST(MemoryArchive, RefusesWhatItDidNotWrite) {
    CMemoryArchive storing;
    storing << CString("text");
    storing.Close();
    const Bytes good = storing.detachCompressedData();
    EXPECT_TRUE(storing.detachCompressedData().empty()) << "taken out only once";

    Bytes longer = good;
    longer.push_back(0);
    const Bytes most(CMemoryArchive::maxContent);
    EXPECT_EQ(causeOf([&] { CMemoryArchive archive(packed(most, most.size())); }),
              CArchiveException::none);
    const Bytes tooMuch(most.size() + 1);
    for (const Bytes& bytes :
         {Bytes{}, longer, packed({1, 2}, 1), packed({1, 2}, 3), packed(tooMuch, tooMuch.size())}) {
        EXPECT_EQ(causeOf([&] { CMemoryArchive archive(bytes); }), CArchiveException::badSchema);
    }
    EXPECT_EQ(causeOf([] {
                  CMemoryArchive huge;
                  huge << CString(std::string(CMemoryArchive::maxContent / 2, 'x'));
                  huge.Close();
              }),
              CArchiveException::badSchema);
}

}  // namespace
