#include "delivery/DDPWriter.h"

#include "model/CDProject.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace DDPWriter;

std::string sp(std::size_t n) {
    return std::string(n, ' ');
}

CDTrack track(std::string title, std::optional<std::string> isrc = std::nullopt) {
    return CDTrack::make(std::move(title), std::move(isrc), 150, 400 * RedBook::samplesPerFrame);
}

// The 64-byte PQ packet written out field by field from the record layout.
std::string pq(std::string tno, std::string index, std::string minSecFrames, std::string control,
               std::string isrc = sp(12)) {
    return "VVVS" + tno + index + "00" + minSecFrames + control + sp(2) + isrc + sp(13) + sp(19);
}

std::vector<std::string> packetsOf(const std::string& stream, std::size_t size) {
    EXPECT_EQ(stream.size() % size, 0u);
    std::vector<std::string> packets;
    for (std::size_t at = 0; at + size <= stream.size(); at += size)
        packets.push_back(stream.substr(at, size));
    return packets;
}

TEST(DDPFieldPrimitives, padCutAndMapToSevenBitASCII) {
    // Text is cut then space-padded, non-ASCII scalars become "?"; numbers pad with zeros and
    // a number too long for its field keeps its first digits.
    EXPECT_EQ(field("Caf\xC3\xA9", 6), "Caf?  ");
    EXPECT_EQ(field("abcdef", 3), "abc");
    EXPECT_EQ(field("", 2), "  ");
    EXPECT_EQ(number(7, 4), "0007");
    EXPECT_EQ(number(0, 2), "00");
    EXPECT_EQ(number(123, 2), "12");
}

TEST(DDPID, layoutCarriesMcnMasterIdAndTheLeadText) {
    // 128 bytes: version, MCN digits, blanks, Master ID, "CD", then the length and the text.
    CDProject project;
    project.mcn = "123-4567890123";
    project.masterID = "MASTER-1";
    project.albumTitle = "Caf\xC3\xA9";
    const std::string expected = "DDP 2.00" + std::string("1234567890123") + sp(8) + sp(8) + sp(1) +
                                 "MASTER-1" + sp(40) + sp(1) + "CD" + sp(4) + "13" + "Orvane - Caf?" + sp(20);
    ASSERT_EQ(expected.size(), 128u);
    EXPECT_EQ(ddpidData(project), expected);
}

TEST(DDPID, blanksAnIncompleteMcnAndCutsLongTexts) {
    // A 12-digit MCN gives 13 spaces; the Master ID keeps 48 characters; the lead text 33 bytes.
    CDProject project;
    project.mcn = "123456789012";
    project.masterID = std::string(48, 'M') + std::string(12, 'X');
    project.albumTitle = std::string(30, 't');
    const std::string data = ddpidData(project);
    ASSERT_EQ(data.size(), 128u);
    EXPECT_EQ(data.substr(8, 13), sp(13));
    EXPECT_EQ(data.substr(38, 48), std::string(48, 'M'));
    EXPECT_EQ(data.substr(86, 7), " CD    ");
    EXPECT_EQ(data.substr(93, 2), "33");
    EXPECT_EQ(data.substr(95), "Orvane - " + std::string(24, 't'));

    project.masterID.reset();
    project.albumTitle.clear();
    const std::string bare = ddpidData(project);
    EXPECT_EQ(bare.substr(38, 48), sp(48));
    EXPECT_EQ(bare.substr(93), "09Orvane - " + sp(24));
}

TEST(DDPMS, listsPqOptionalCdTextAndTheImageLast) {
    // Without CD-Text two packets, with it three; the image packet counts sectors and the pause.
    const std::string image = "VVVM" + std::string("D0") + sp(8) + "00001500" + "00000000" + sp(8) + "DA" +
                              "0" + "0" + sp(4) + "0150" + sp(4) + sp(1) + sp(2) + sp(2) + sp(12) + "017" +
                              "IMAGE.DAT" + sp(8) + sp(1) + sp(4) + sp(8) + "000000000" + sp(15);
    const std::string pqPacket = "VVVM" + std::string("S0") + sp(8) + "00000320" + sp(8) + "PQ DESCR" +
                                 sp(2) + sp(1) + sp(1) + sp(4) + sp(4) + sp(4) + sp(1) + sp(2) + sp(2) +
                                 sp(12) + "017" + "PQDESCR" + sp(10) + sp(1) + sp(4) + sp(8) + sp(9) + sp(15);
    ASSERT_EQ(image.size(), 128u);
    ASSERT_EQ(pqPacket.size(), 128u);

    EXPECT_EQ(ddpmsData(1500, 150, 320, std::nullopt), pqPacket + image);

    const std::string withText = ddpmsData(1500, 150, 320, 90);
    ASSERT_EQ(withText.size(), 384u);
    EXPECT_EQ(withText.substr(0, 128), pqPacket);
    EXPECT_EQ(withText.substr(256), image);
    EXPECT_EQ(withText.substr(128, 128),
              "VVVMS0" + sp(8) + "00000090" + sp(8) + "CDTEXT  " + sp(33) + "017CDTEXT.BIN       " + sp(37));

    EXPECT_EQ(ddpmsData(1500, 300, 320, std::nullopt).substr(128 + 46, 4), "0300");
}

TEST(PQDescriptor, writesIndexZeroOnlyForARealPause) {
    // Three tracks butted together after the usual pause: lead-in, index 0 and 1 of track 1,
    // index 1 of the others, lead-out at the last end.
    CDProject project;
    project.tracks = {track("A"), track("B"), track("C")};
    const std::vector<TrackPosition> positions = {
        {1, 0, 150, 550, 150, 550}, {2, 550, 550, 950, 550, 950}, {3, 950, 950, 1350, 950, 1350}};
    const auto packets = packetsOf(pqDescrData(project, positions), 64);
    ASSERT_EQ(packets.size(), 6u);
    EXPECT_EQ(packets[0], pq("00", "00", "000000", "01"));
    EXPECT_EQ(packets[1], pq("01", "00", "000000", "01"));
    EXPECT_EQ(packets[2], pq("01", "01", "000200", "01"));
    EXPECT_EQ(packets[3], pq("02", "01", "000725", "01"));
    EXPECT_EQ(packets[4], pq("03", "01", "001250", "01"));
    EXPECT_EQ(packets[5], pq("AA", "01", "001800", "01"));

    // Without positions only the lead-in is left.
    EXPECT_EQ(pqDescrData(project, {}), pq("00", "00", "000000", "01"));
}

TEST(PQDescriptor, everyPacketOfATrackCarriesItsIsrcFlagsAndSubIndexes) {
    // Track 2 has a 75-frame pause, a messy ISRC, both flags and raw sub-indexes of which only
    // 50 and 100 lie inside the track; track 1's short ISRC is blanked.
    CDProject project;
    project.tracks = {track("A", "USABC123456"), track("B", "us-abc-12-34567")};
    project.tracks[0].preEmphasis = true;
    project.tracks[1].preEmphasis = true;
    project.tracks[1].copyPermitted = true;
    project.tracks[1].subIndexFrames = {100, 100, 0, -3, 400, 50};
    const std::vector<TrackPosition> positions = {{1, 0, 150, 550, 150, 550}, {2, 550, 625, 1025, 625, 1025}};
    const auto packets = packetsOf(pqDescrData(project, positions), 64);
    ASSERT_EQ(packets.size(), 8u);
    const std::string isrc = "USABC1234567";
    EXPECT_EQ(packets[1], pq("01", "00", "000000", "11"));
    EXPECT_EQ(packets[2], pq("01", "01", "000200", "11"));
    EXPECT_EQ(packets[3], pq("02", "00", "000725", "31", isrc));
    EXPECT_EQ(packets[4], pq("02", "01", "000825", "31", isrc));
    EXPECT_EQ(packets[5], pq("02", "02", "000900", "31", isrc));
    EXPECT_EQ(packets[6], pq("02", "03", "000950", "31", isrc));
    EXPECT_EQ(packets[7], pq("AA", "01", "001350", "01"));

    project.tracks[1].preEmphasis = false;
    EXPECT_EQ(controlCode(project.tracks[1]), "21");
    EXPECT_EQ(controlCode(track("plain")), "01");
}

TEST(PQDescriptor, crossfadedTrackHasNoIndexZeroAndLongTimesKeepDecimalMinutes) {
    // A crossfaded track starts at its transition point with index 1 only. Times are decimal
    // ASCII (not BCD), and minutes beyond 59 do not wrap.
    CDProject project;
    project.tracks = {track("A"), track("B")};
    const std::vector<TrackPosition> positions = {{1, 0, 150, 825, 150, 900},
                                                  {2, 825, 825, 275028, 750, 275028}};
    const auto packets = packetsOf(pqDescrData(project, positions), 64);
    ASSERT_EQ(packets.size(), 5u);
    EXPECT_EQ(packets[3], pq("02", "01", "001100", "01"));
    EXPECT_EQ(packets[4], pq("AA", "01", "610703", "01"));
}

TEST(ImageCue, listsDiscAndTrackLinesWithMsfOfTheLbasThemselves) {
    // Optional lines appear only with text, quotes become single quotes, INDEX 00 only for a real
    // pause, codes as stored, no sub-indexes.
    CDProject project;
    project.mcn = "123456789012";
    project.albumTitle = "The \"Best\"";
    project.albumPerformer = "Band";
    project.albumSongwriter = "";
    project.tracks = {track(""), track("Two", "us-abc-12-3456"), track("Three")};
    project.tracks[1].performer = "Singer";
    project.tracks[1].songwriter = "Writer";
    project.tracks[1].preEmphasis = true;
    project.tracks[1].copyPermitted = true;
    project.tracks[1].subIndexFrames = {10};
    project.tracks[2].copyPermitted = true;
    project.tracks[2].isrc = "";
    const std::vector<TrackPosition> positions = {
        {1, 0, 150, 550, 150, 550}, {2, 550, 625, 1100, 625, 1175}, {3, 1100, 1100, 1500, 1025, 1500}};
    EXPECT_EQ(imageCueText(project, positions), "CATALOG 123456789012\n"
                                                "TITLE \"The 'Best'\"\n"
                                                "PERFORMER \"Band\"\n"
                                                "FILE \"IMAGE.DAT\" BINARY\n"
                                                "  TRACK 01 AUDIO\n"
                                                "    TITLE \"\"\n"
                                                "    INDEX 00 00:00:00\n"
                                                "    INDEX 01 00:02:00\n"
                                                "  TRACK 02 AUDIO\n"
                                                "    TITLE \"Two\"\n"
                                                "    PERFORMER \"Singer\"\n"
                                                "    SONGWRITER \"Writer\"\n"
                                                "    FLAGS PRE DCP\n"
                                                "    ISRC us-abc-12-3456\n"
                                                "    INDEX 00 00:07:25\n"
                                                "    INDEX 01 00:08:25\n"
                                                "  TRACK 03 AUDIO\n"
                                                "    TITLE \"Three\"\n"
                                                "    FLAGS DCP\n"
                                                "    INDEX 01 00:14:50\n");

    EXPECT_EQ(imageCueText(CDProject{}, {}), "FILE \"IMAGE.DAT\" BINARY\n");
}

TEST(ChecksumText, listsTheSetInFixedOrderThenTheExtras) {
    // Fileset names first, extras in the given order, never checksum.md5 itself; two spaces apart.
    const std::vector<std::string> extras = {"PQSheet.pdf", "checksum.md5", "PQSheet.csv"};
    EXPECT_EQ(checksumFileNames(extras),
              (std::vector<std::string>{"DDPID", "DDPMS", "PQDESCR", "CDTEXT.BIN", "IMAGE.DAT", "IMAGE.cue",
                                        "PQSheet.pdf", "PQSheet.csv"}));
    const std::vector<ChecksumEntry> entries = {{"DDPID", "900150983cd24fb0d6963f7d28e17f72"},
                                                {"IMAGE.cue", "d41d8cd98f00b204e9800998ecf8427e"}};
    EXPECT_EQ(checksumText(entries), "900150983cd24fb0d6963f7d28e17f72  DDPID\n"
                                     "d41d8cd98f00b204e9800998ecf8427e  IMAGE.cue\n");
}

} // namespace
} // namespace orvane
