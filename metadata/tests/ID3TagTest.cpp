#include "TagFileBuilder.h"
#include "metadata/AudioMetadataReader.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace tagtest;
using namespace std::literals;
using AudioMetadataReader::parseID3;

TEST(ID3Tag, readsEveryTextEncodingIntoUTF8) {
    // Each of the four encodings of a v2.3 text frame decodes to the same UTF-8, trimmed of NULs and spaces.
    const std::string frames =
        id3Frame(3, "TIT2", text(0, "Caf\xE9 \xC0 la mer\0"s)) + // ISO-8859-1
        id3Frame(3, "TPE1",
                 text(1, "\xFF\xFE"s + utf16(u"Caf\u00e9 \u00c0 la mer\0"sv, false))) + // UTF-16 LE BOM
        id3Frame(3, "TCOM", text(1, "\xFE\xFF"s + utf16(u"\U0001D11E Clef", true))) +   // UTF-16 BE BOM
        id3Frame(3, "TEXT", text(2, utf16(u" Caf\u00e9\n", true))) +                    // UTF-16 BE
        id3Frame(3, "TSRC", text(3, "\xEF\xBB\xBFgb-aaa-25-00001\0"s));                 // UTF-8
    const AudioFileMetadata tags = parseID3(id3Tag(3, frames));
    EXPECT_EQ(tags.title, "Caf\u00e9 \u00c0 la mer");
    EXPECT_EQ(tags.performer, "Caf\u00e9 \u00c0 la mer");
    EXPECT_EQ(tags.composer, "\U0001D11E Clef");
    EXPECT_EQ(tags.songwriter, "Caf\u00e9");
    EXPECT_EQ(tags.isrc, "GBAAA2500001");
}

TEST(ID3Tag, badTextLeavesTheFieldForALaterFrame) {
    // Undecodable text, an unknown encoding byte and a malformed ISRC fill nothing; the next frame of the
    // kind may still fill the field, and once filled a field keeps its first value.
    const std::string frames = id3Frame(3, "TIT2", text(4, "Encoding four")) +
                               id3Frame(3, "TPE1", text(3, "\xC3\x28 broken UTF-8")) +
                               id3Frame(3, "TCOM", text(1, "\xFF\xFE\x00\xD8\x41\x00"s)) + // lone surrogate
                               id3Frame(3, "TEXT", text(2, "odd")) +           // odd UTF-16 length
                               id3Frame(3, "TSRC", text(0, "USRC1770005")) +   // 11 characters
                               id3Frame(3, "TSRC", text(0, "USRC177000511")) + // 13 characters
                               id3Frame(3, "TIT2", text(0, "   ")) + id3Frame(3, "TIT2", text(0, "Second")) +
                               id3Frame(3, "TIT2", text(0, "Third")) +
                               id3Frame(3, "TSRC", text(0, "US-RC1-77-00005"));
    const AudioFileMetadata tags = parseID3(id3Tag(3, frames));
    EXPECT_EQ(tags.title, "Second");
    EXPECT_EQ(tags.performer, std::nullopt);
    EXPECT_EQ(tags.composer, std::nullopt);
    EXPECT_EQ(tags.songwriter, std::nullopt);
    EXPECT_EQ(tags.isrc, "USRC17700005");
}

TEST(ID3Tag, versionTwoFramesMapToTheLaterNames) {
    // A v2.2 tag with three-letter frames fills the same fields; unknown three-letter frames are skipped.
    const std::string frames =
        id3Frame(2, "TAL", text(0, "Album")) + id3Frame(2, "TT2", text(0, "Title")) +
        id3Frame(2, "TP1", text(0, "Artist")) + id3Frame(2, "TCM", text(0, "Composer")) +
        id3Frame(2, "TXT", text(0, "Lyricist")) + id3Frame(2, "TRC", text(0, "FRZ039800212"));
    const AudioFileMetadata tags = parseID3(id3Tag(2, frames, 0, 16));
    EXPECT_EQ(tags, (AudioFileMetadata{"FRZ039800212", "Title", "Artist", "Composer", "Lyricist"}));
}

TEST(ID3Tag, versionFourHonoursSyncsafeSizesAndFrameFlags) {
    // v2.4 frame sizes are syncsafe (a 200-byte frame has a size field of 0x00000148); an unsynchronised
    // frame loses its stuffed zeros and a data length indicator its first four bytes.
    const std::string longTitle = std::string(198, 'x');
    const std::string unsynced = text(0, "A\xFF\x00\xE9"s); // ISO-8859-1 "A", 0xFF, e-acute
    const std::string withLength = syncsafe(3) + text(0, "Bo");
    const std::string frames = id3Frame(4, "TIT2", text(0, longTitle + "!")) +
                               id3Frame(4, "TPE1", unsynced, 0x02) + id3Frame(4, "TCOM", withLength, 0x01) +
                               id3Frame(4, "TEXT", syncsafe(5) + text(0, "Both"), 0x03);
    const AudioFileMetadata tags = parseID3(id3Tag(4, frames));
    EXPECT_EQ(tags.title, longTitle + "!");
    EXPECT_EQ(tags.performer, "A\u00ff\u00e9");
    EXPECT_EQ(tags.composer, "Bo");
    EXPECT_EQ(tags.songwriter, "Both");
}

TEST(ID3Tag, tagFlagsUnsyncTheBodyAndSkipTheExtendedHeader) {
    // Whole-tag unsynchronisation is undone before frames are read, and an extended header is skipped
    // (v2.3: a big-endian size not counting itself; v2.4: a syncsafe size that does); one that fills
    // the whole body leaves nothing.
    // The frame's size counts the bytes as they are once the stuffed zero after 0xFF is gone.
    const std::string stuffedFrame = "TIT2"s + be32(3) + "\0\0"s + "\0\xFF\0Z"s;
    EXPECT_EQ(parseID3(id3Tag(3, stuffedFrame, 0x80)).title, "\u00ffZ");

    const std::string v3Extended = be32(6) + std::string(6, '\0');
    EXPECT_EQ(parseID3(id3Tag(3, v3Extended + id3Frame(3, "TIT2", text(0, "Three")), 0x40)).title, "Three");
    const std::string v4Extended = syncsafe(6) + std::string(2, '\x01');
    EXPECT_EQ(parseID3(id3Tag(4, v4Extended + id3Frame(4, "TIT2", text(0, "Four")), 0x40)).title, "Four");
    EXPECT_EQ(parseID3(id3Tag(3, be32(40) + id3Frame(3, "TIT2", text(0, "Gone")), 0x40)),
              AudioFileMetadata{});
}

TEST(ID3Tag, damagedTagsKeepTheFramesBeforeTheDamage) {
    // A frame reaching past the tag, a zero size, padding or a garbage identifier stops the walk and
    // keeps what came before; a header alone, a zero tag size or a missing "ID3" gives nothing.
    const std::string good = id3Frame(3, "TIT2", text(0, "Kept"));
    std::string overrun = id3Frame(3, "TPE1", text(0, "Lost"));
    overrun[7] = 100; // claims 100 bytes
    EXPECT_EQ(parseID3(id3Tag(3, good + overrun)), (AudioFileMetadata{{}, "Kept", {}, {}, {}}));
    EXPECT_EQ(
        parseID3(id3Tag(3, good + id3Frame(3, "TPE1", "") + id3Frame(3, "TCOM", text(0, "Lost")))).composer,
        std::nullopt);
    EXPECT_EQ(parseID3(id3Tag(3, good + "T?E1" + be32(5) + "\0\0"s + text(0, "Lost"))).performer,
              std::nullopt);
    EXPECT_EQ(parseID3(id3Tag(3, good, 0, 64)).title, "Kept");

    // The tag's own size bounds the frames even when more data follow it.
    const std::string tag = id3Tag(3, good) + id3Frame(3, "TPE1", text(0, "Outside"));
    EXPECT_EQ(parseID3(tag).performer, std::nullopt);
    // A size that claims more than the data hold reads what is there.
    std::string cut = id3Tag(3, good + id3Frame(3, "TPE1", text(0, "Whole")));
    cut.resize(cut.size() - 1);
    EXPECT_EQ(parseID3(cut), (AudioFileMetadata{{}, "Kept", {}, {}, {}}));

    EXPECT_EQ(parseID3("ID3\x03\0\0\0\0\0\0"s), AudioFileMetadata{});
    EXPECT_EQ(parseID3("ID3\x03\0\0"s), AudioFileMetadata{});
    EXPECT_EQ(parseID3("XYZ" + id3Tag(3, good).substr(3)), AudioFileMetadata{});
}

} // namespace
} // namespace orvane
