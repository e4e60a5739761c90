#include "delivery/CDTextEncoder.h"

#include "model/CDProject.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace DDPWriter;
using Bytes = std::vector<std::uint8_t>;

CDProject projectWithTracks(std::size_t count) {
    CDProject project;
    for (std::size_t i = 0; i < count; ++i)
        project.tracks.push_back(CDTrack::make("", std::nullopt, 150, 44100 * 5));
    return project;
}

// The packs of a stream as byte lists, after checking that every CRC holds.
std::vector<Bytes> framedPacks(const std::string& stream) {
    EXPECT_EQ(stream.size() % 18, 0u);
    std::vector<Bytes> packs;
    for (std::size_t at = 0; at + 18 <= stream.size(); at += 18) {
        Bytes pack(stream.begin() + static_cast<std::ptrdiff_t>(at),
                   stream.begin() + static_cast<std::ptrdiff_t>(at + 18));
        const std::uint16_t crc = cdTextCRC(std::string_view(stream).substr(at, 16));
        EXPECT_EQ(pack[16], crc >> 8) << "pack " << packs.size();
        EXPECT_EQ(pack[17], crc & 0xFF) << "pack " << packs.size();
        packs.push_back(pack);
    }
    return packs;
}

Bytes header(const Bytes& pack) {
    return Bytes(pack.begin(), pack.begin() + 4);
}
Bytes data(const Bytes& pack) {
    return Bytes(pack.begin() + 4, pack.begin() + 16);
}
Bytes data(const CDTextPack& pack) {
    return Bytes(pack.data.begin(), pack.data.end());
}
Bytes bytesOf(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

TEST(CDTextCRC, isInvertedCcittOverThePack) {
    // Gives the known check value of "123456789" and a hand-worked value over bytes above 0x7F;
    // no bytes and sixteen zeros both give 0xFFFF.
    EXPECT_EQ(cdTextCRC("123456789"), 0x31C3 ^ 0xFFFF);
    EXPECT_EQ(cdTextCRC("\x80\x01\x02\x03Hello, \xE9t\xE9!"), 0x0343);
    EXPECT_EQ(cdTextCRC(""), 0xFFFF);
    EXPECT_EQ(cdTextCRC(std::string(16, '\0')), 0xFFFF);
}

TEST(CDTextData, isAbsentWithoutAnyText) {
    // Empty titles and no codes give no packs in either block, so there is no stream.
    CDProject project = projectWithTracks(2);
    EXPECT_FALSE(cdTextData(project).has_value());
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{0}));
    project.cdTextLanguage2Code = 8;
    EXPECT_FALSE(cdTextData(project).has_value());
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{0, 0}));
    // Album text without tracks writes nothing either.
    CDProject noTracks;
    noTracks.albumTitle = "Album";
    EXPECT_FALSE(cdTextData(noTracks).has_value());
}

TEST(CDTextData, singleTitleBlockWithItsSizePacks) {
    // Only track 2 has a title: album and track 1 take one 0x00 each, then three size packs
    // describe the block: 2 tracks, one title pack, 3 size packs, last sequence 3, English.
    CDProject project = projectWithTracks(2);
    project.tracks[1].title = "Hello";
    const auto stream = cdTextData(project);
    ASSERT_TRUE(stream.has_value());
    const auto packs = framedPacks(*stream);
    ASSERT_EQ(packs.size(), 4u);
    EXPECT_EQ(header(packs[0]), (Bytes{0x80, 0, 0, 0x00}));
    EXPECT_EQ(data(packs[0]), (Bytes{0, 0, 'H', 'e', 'l', 'l', 'o', 0, 0, 0, 0, 0}));
    EXPECT_EQ(header(packs[1]), (Bytes{0x8F, 0, 1, 0x00}));
    EXPECT_EQ(header(packs[2]), (Bytes{0x8F, 1, 2, 0x00}));
    EXPECT_EQ(header(packs[3]), (Bytes{0x8F, 2, 3, 0x00}));
    EXPECT_EQ(data(packs[1]), (Bytes{0x00, 1, 2, 0x00, 1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(data(packs[2]), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0}));
    EXPECT_EQ(data(packs[3]), (Bytes{0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{1}));
}

TEST(PacksForType, runsStringsTogetherAndMarksWhereEachPackStarts) {
    // A pack names the string and offset of its first byte; offsets stop counting at 15.
    const std::vector<std::string> two = {"", "Alpha", "Bravo"};
    const auto packs = packsForType(0x80, two);
    ASSERT_EQ(packs.size(), 2u);
    EXPECT_EQ(data(packs[0]), bytesOf(std::string_view("\0Alpha\0Bravo", 12)));
    EXPECT_EQ(packs[1].trackNumber, 2);
    EXPECT_EQ(packs[1].charPosition, 5);
    EXPECT_EQ(data(packs[1]), Bytes(12, 0));

    const std::vector<std::string> spill = {std::string(40, 'A'), ""};
    const auto long40 = packsForType(0x81, spill);
    ASSERT_EQ(long40.size(), 4u); // 40 + 1 + 1 bytes
    EXPECT_EQ(long40[1].charPosition, 12);
    EXPECT_EQ(long40[2].charPosition, 15);
    EXPECT_EQ(long40[3].charPosition, 15);
    EXPECT_EQ(long40[3].trackNumber, 0);
    EXPECT_EQ(data(long40[3]), (Bytes{'A', 'A', 'A', 'A', 0, 0, 0, 0, 0, 0, 0, 0}));

    const std::vector<std::string> intoTrack = {"ABCDEFGHIJ", "Second"};
    const auto next = packsForType(0x80, intoTrack);
    ASSERT_EQ(next.size(), 2u);
    EXPECT_EQ(next[1].trackNumber, 1);
    EXPECT_EQ(next[1].charPosition, 1);

    // Latin-1 keeps é; a Japanese title becomes question marks.
    const std::vector<std::string> latin = {"Caf\xC3\xA9", "\xE6\x97\xA5\xE6\x9C\xAC"};
    EXPECT_EQ(data(packsForType(0x80, latin)[0]), (Bytes{'C', 'a', 'f', 0xE9, 0, '?', '?', 0, 0, 0, 0, 0}));
}

TEST(GenrePacks, carryTheCodeHighByteFirstThenTheText) {
    // Two code bytes, the text, one 0x00; pieces start at offsets 0, 12, then stay at 15.
    const auto one = genrePacks(5, "Classical");
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(data(one[0]), (Bytes{0, 5, 'C', 'l', 'a', 's', 's', 'i', 'c', 'a', 'l', 0}));
    EXPECT_EQ(one[0].type, 0x87);
    const auto three = genrePacks(0x0102, std::string(30, 'g'));
    ASSERT_EQ(three.size(), 3u); // 33 bytes
    EXPECT_EQ(three[0].data[0], 0x01);
    EXPECT_EQ(three[0].data[1], 0x02);
    EXPECT_EQ(three[1].charPosition, 12);
    EXPECT_EQ(three[2].charPosition, 15);
    EXPECT_EQ(three[2].trackNumber, 0);
}

TEST(CDTextContentPacks, followTheTypeOrderWithCodesLast) {
    // Title, performer, disc id, genre, then UPC/ISRC from the sanitised codes; the 0x8E run
    // holds the MCN and each valid ISRC, an invalid one as an empty string.
    CDProject project = projectWithTracks(2);
    project.albumTitle = "T";
    project.tracks[0].performer = "P";
    project.discID = "ID";
    project.genreCode = 14;
    project.mcn = "4006381333931";
    project.tracks[0].isrc = "us-abc-12-34567";
    project.tracks[1].isrc = "bad";
    const auto packs = cdTextContentPacks(project, 0);
    std::vector<std::uint8_t> types;
    for (const auto& pack : packs)
        types.push_back(pack.type);
    EXPECT_EQ(types, (std::vector<std::uint8_t>{0x80, 0x81, 0x86, 0x87, 0x8E, 0x8E, 0x8E}));
    EXPECT_EQ(data(packs[1]), (Bytes{0, 'P', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(data(packs[3]), (Bytes{0, 14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(data(packs[4]), bytesOf("400638133393"));
    EXPECT_EQ(data(packs[5]), bytesOf(std::string_view("1\0USABC12345", 12)));
    EXPECT_EQ(packs[5].trackNumber, 0);
    EXPECT_EQ(packs[5].charPosition, 12);
    EXPECT_EQ(data(packs[6]), (Bytes{'6', '7', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(packs[6].trackNumber, 1);
    EXPECT_EQ(packs[6].charPosition, 10);
}

TEST(CDTextData, acceptsTwoHundredFiftyTwoPacksAndRefusesOneMore) {
    // One track and an album title of n bytes need ceil((n + 2) / 12) packs.
    CDProject project = projectWithTracks(1);
    project.albumTitle = std::string(252 * 12 - 2, 'x');
    ASSERT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{252}));
    const auto full = cdTextData(project);
    ASSERT_TRUE(full.has_value());
    const auto packs = framedPacks(*full);
    ASSERT_EQ(packs.size(), 255u);
    EXPECT_EQ(packs.back()[2], 254);   // last sequence number
    EXPECT_EQ(packs[253][4 + 8], 254); // lastSequence[0] in the second size pack

    project.albumTitle.push_back('x');
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{253}));
    EXPECT_FALSE(cdTextData(project).has_value());
}

TEST(CDTextData, secondLanguageWithoutTranslationsCopiesTheFirstBlock) {
    // Block 1 repeats block 0 pack for pack with the block number in byte 3; both blocks' size
    // packs carry both last sequences and both languages.
    CDProject project = projectWithTracks(1);
    project.albumTitle = "Album";
    project.tracks[0].title = "Song";
    project.genreCode = 5;
    project.cdTextLanguage2Code = 8;
    const auto stream = cdTextData(project);
    ASSERT_TRUE(stream.has_value());
    const auto packs = framedPacks(*stream);
    ASSERT_EQ(packs.size(), 10u); // (2 + 3) per block
    for (std::size_t i = 0; i < 5; ++i) {
        const Bytes& first = packs[i];
        const Bytes& second = packs[i + 5];
        EXPECT_EQ(Bytes(first.begin(), first.begin() + 3), Bytes(second.begin(), second.begin() + 3));
        EXPECT_EQ(second[3], first[3] | 0x10);
        EXPECT_EQ(data(first), data(second));
    }
    EXPECT_EQ(data(packs[3]), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 4, 4, 0, 0}));
    EXPECT_EQ(data(packs[4]), (Bytes{0, 0, 0, 0, 9, 8, 0, 0, 0, 0, 0, 0}));
}

TEST(CDTextData, translatedFieldsChangeOnlyTheSecondBlock) {
    // A longer translated title gives block 1 more packs; counters differ, tables are shared,
    // and a language code beyond a byte is limited.
    CDProject project = projectWithTracks(1);
    project.tracks[0].title = "Hello";
    project.tracks[0].titleLang2 = "Hallo Welt!!";
    project.tracks[0].performerLang2 = "";
    project.cdTextLanguageCode = 300;
    project.cdTextLanguage2Code = 8;
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{1, 2}));
    const auto packs = framedPacks(cdTextData(project).value());
    ASSERT_EQ(packs.size(), 4u + 5u);
    EXPECT_EQ(data(packs[0]), (Bytes{0, 'H', 'e', 'l', 'l', 'o', 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(data(packs[4]), bytesOf(std::string_view("\0Hallo Welt!", 12)));
    EXPECT_EQ(header(packs[5]), (Bytes{0x80, 1, 1, 0x10 | 11}));
    EXPECT_EQ(data(packs[1])[4], 1); // title packs of block 0
    EXPECT_EQ(data(packs[6])[4], 2); // of block 1
    EXPECT_EQ(data(packs[2]), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 3, 4, 0, 0}));
    EXPECT_EQ(data(packs[3]), (Bytes{0, 0, 0, 0, 255, 8, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(data(packs[7]), data(packs[2]));
    EXPECT_EQ(data(packs[8]), data(packs[3]));
}

TEST(CDTextData, keepsASecondBlockEvenWhenTheFirstHasNoText) {
    // Only a translation exists: block 0 is dropped, block 1 stands alone with its own number.
    CDProject project = projectWithTracks(1);
    project.tracks[0].titleLang2 = "X";
    project.cdTextLanguage2Code = 15;
    EXPECT_EQ(cdTextBlockPackCounts(project), (std::vector<std::int64_t>{0, 1}));
    const auto packs = framedPacks(cdTextData(project).value());
    ASSERT_EQ(packs.size(), 4u);
    EXPECT_EQ(header(packs[0]), (Bytes{0x80, 0, 0, 0x10}));
    EXPECT_EQ(data(packs[2]), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 0, 3, 0, 0}));
    EXPECT_EQ(data(packs[3]), (Bytes{0, 0, 0, 0, 0, 15, 0, 0, 0, 0, 0, 0}));
}

TEST(FramePack, masksTrackAndPositionIntoTheirBits) {
    // Track numbers lose bit 7, char positions keep four bits, and the block sits above them.
    CDTextPack pack;
    pack.type = 0x85;
    pack.trackNumber = 0x85;
    pack.charPosition = 0x1F;
    const std::string framed = framePack(pack, 7, 1);
    ASSERT_EQ(framed.size(), 18u);
    EXPECT_EQ(Bytes(framed.begin(), framed.begin() + 4), (Bytes{0x85, 0x05, 7, 0x1F}));
}

} // namespace
} // namespace orvane
