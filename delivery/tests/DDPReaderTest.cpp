#include "delivery/DDPReader.h"

#include "DDPFilesetFixture.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace orvane {
namespace {

using namespace orvane::testing;
namespace T = DDPWriter::CDTextPackType;

std::string errorText(const tl::expected<CDProject, DDPImportError>& result) {
    return result ? std::string("(imported)") : result.error().message();
}

std::vector<std::string> leftoverPartials(const fs::path& folder) {
    std::vector<std::string> names;
    if (fs::exists(folder))
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".partial")
                names.push_back(entry.path().filename().string());
    return names;
}

TEST(DDPImport, roundTripGivesTheSameLayoutTextAndBitIdenticalAudio) {
    // A fileset written from a project imports to the same positions, codes, flags and text, the PQ
    // stream re-exported from it is byte-identical, and each WAV holds exactly its slice of the image.
    TempFolder dir;
    const CDProject original = sampleProject();
    const auto positions = writeFileset(dir.path, original);
    std::vector<double> fractions;
    const auto imported = DDPReader::importDDP(dir.path, dir.path / "Audio", [&](std::string_view, double f) {
        fractions.push_back(f);
        return true;
    });
    ASSERT_TRUE(imported) << errorText(imported);

    // Everything but what the import makes anew (ids, dates, the track files) comes back as it was.
    CDProject want = original;
    ASSERT_EQ(imported->tracks.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(imported->tracks[i].creationDate.has_value());
        want.tracks[i].id = imported->tracks[i].id;
        want.tracks[i].creationDate = imported->tracks[i].creationDate;
        want.tracks[i].audioFileURL = imported->tracks[i].audioFileURL;
    }
    EXPECT_EQ(*imported, want);
    const auto again = TimelineCalculator::calculatePositions(*imported);
    ASSERT_TRUE(again);
    EXPECT_EQ(*again, positions);
    EXPECT_EQ(DDPWriter::pqDescrData(*imported, *again), fileBytes(dir.path / "PQDESCR"));

    const std::string image = fileBytes(dir.path / "IMAGE.DAT");
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string wav = fileBytes(imported->tracks[i].audioFileURL->path());
        const std::int64_t from = positions[i].index01LBA * 2352;
        const std::int64_t to = (i + 1 < 3 ? positions[i + 1].startLBA : positions[i].endLBA) * 2352;
        ASSERT_EQ(wav.size(), static_cast<std::size_t>(44 + to - from));
        EXPECT_EQ(wav.substr(0, 44), DDPReader::wavHeader(static_cast<std::uint32_t>(to - from)));
        EXPECT_TRUE(wav.compare(44, std::string::npos, image, static_cast<std::size_t>(from),
                                static_cast<std::size_t>(to - from)) == 0)
            << "track " << i + 1;
    }
    EXPECT_EQ(imported->tracks[1].audioFileURL->lastPathComponent(), "Track02.wav");
    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_DOUBLE_EQ(fractions.back(), 1.0);
    EXPECT_TRUE(leftoverPartials(dir.path / "Audio").empty());
}

TEST(DDPImport, findsMusicHiddenInAPreGapButNeverInTrackOnesPause) {
    // Non-silent frames in track 1's 150-frame pause are ignored; music from the fourth frame of
    // track 2's pre-gap starts its audio there and leaves INDEX 01 where the PQ had it.
    TempFolder dir;
    CDProject project = sampleProject();
    project.tracks[1].preGap = CDTime::frames(10);
    const auto positions = writeFileset(dir.path, project);
    std::string image = fileBytes(dir.path / "IMAGE.DAT");
    image[100 * 2352 + 7] = 0x11;
    const std::int64_t hidden = positions[1].startLBA + 3;
    image[static_cast<std::size_t>(hidden * 2352 + 2351)] = 0x22;
    putFile(dir.path / "IMAGE.DAT", image);

    const auto imported = DDPReader::importDDP(dir.path, dir.path / "Audio");
    ASSERT_TRUE(imported) << errorText(imported);
    EXPECT_EQ(imported->tracks[0].preGap, CDTime::frames(150));
    EXPECT_TRUE(imported->tracks[0].indexLocked);
    const CDTrack& t2 = imported->tracks[1];
    EXPECT_EQ(t2.preGap, CDTime::frames(3));
    EXPECT_FALSE(t2.indexLocked);
    EXPECT_EQ(t2.index01OffsetFrames, 7);
    EXPECT_EQ(t2.sourceAudioSamples, (positions[2].startLBA - hidden) * 588);
    const std::string wav = fileBytes(t2.audioFileURL->path());
    EXPECT_EQ(wav[44 + 2351], 0x22);
}

TEST(DDPImport, followsTheMapsFileNamesInAnyOrderAndIgnoresOtherPackets) {
    // Without DDPMS the default names serve; a map that names the image AUDIO.IMG is followed in
    // whatever packet order, and a missing AUDIO.IMG is named in the message.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    fs::remove(dir.path / "DDPMS");
    EXPECT_TRUE(DDPReader::importDDP(dir.path, dir.path / "A1"));

    const std::int64_t sectors = static_cast<std::int64_t>(fs::file_size(dir.path / "IMAGE.DAT")) / 2352;
    DDPWriter::MapPacket image{.streamType = "D0",
                               .streamLength = sectors,
                               .streamStart = "00000000",
                               .subCodeDescriptor = "",
                               .cdMode = "DA",
                               .ssm = "0",
                               .scrambled = "0",
                               .pregapPart2 = 150,
                               .fileName = "AUDIO.IMG",
                               .startingFileOffset = 0};
    DDPWriter::MapPacket pq = image;
    pq.streamType = "S0";
    pq.subCodeDescriptor = "PQ DESCR";
    pq.fileName = "PQ.BIN";
    DDPWriter::MapPacket other = pq;
    other.subCodeDescriptor = "OTHER";
    other.fileName = "../../etc/passwd";
    putFile(dir.path / "DDPMS", DDPWriter::mapPacket(image) + std::string(128, 'x') +
                                    DDPWriter::mapPacket(other) + DDPWriter::mapPacket(pq));
    fs::rename(dir.path / "PQDESCR", dir.path / "PQ.BIN");
    const auto missing = DDPReader::importDDP(dir.path, dir.path / "A2");
    EXPECT_EQ(errorText(missing), "DDP fileset is missing AUDIO.IMG.");
    fs::rename(dir.path / "IMAGE.DAT", dir.path / "AUDIO.IMG");
    const auto imported = DDPReader::importDDP(dir.path, dir.path / "A3");
    ASSERT_TRUE(imported) << errorText(imported);
    EXPECT_EQ(imported->tracks.size(), 3u);
}

std::string pqLine(std::string track, std::string index, std::string msf, std::string control = "01",
                   std::string isrc = "            ") {
    return "VVVS" + track + index + "00" + msf + control + "  " + isrc + std::string(32, ' ');
}

TEST(PQParsing, keepsWhatEachPacketSaysAndRejectsHolesAndAMissingLeadOut) {
    // Packets are merged per track, unreadable ones are skipped, a blank ISRC erases nothing, the
    // last control code wins, and the layout must have a lead-out and no hole in the numbers.
    const std::string good =
        pqLine("00", "00", "000000") + pqLine("01", "00", "000000", "11", "GBAYE2600001") +
        pqLine("01", "01", "000200", "11") + pqLine("01", "02", "000300", "11") +
        pqLine("02", "01", "001000", "21", "gbaye2600002") + pqLine("02", "0x", "001010") +
        std::string(64, 'z') + pqLine("02", "01", "001000", "01") + pqLine("AA", "01", "010000") + "VVVS01";
    const auto pq = DDPReader::parsePQ(good);
    ASSERT_TRUE(pq) << pq.error().message();
    EXPECT_EQ(*pq, (PQDescriptor{{PQTrack{1, 0, 150, {{2, 225}}, "GBAYE2600001", true, false},
                                  PQTrack{2, std::nullopt, 750, {}, "GBAYE2600002", false, false}},
                                 4500}));

    const auto hole = DDPReader::parsePQ(pqLine("01", "01", "000200") + pqLine("02", "01", "001000") +
                                         pqLine("04", "01", "002000") + pqLine("AA", "01", "010000"));
    ASSERT_FALSE(hole);
    EXPECT_EQ(hole.error().message(), "PQ descriptor is invalid: track numbers are not contiguous.");
    const auto noLeadOut = DDPReader::parsePQ(pqLine("01", "01", "000200"));
    ASSERT_FALSE(noLeadOut);
    EXPECT_EQ(noLeadOut.error().message(), "PQ descriptor is invalid: missing lead-out (AA) entry.");
}

TEST(DDPImport, failsWithTheMatchingMessageAndLeavesNoHalfWrittenFile) {
    // Missing PQ, a PQ without tracks, a zero-length track, an image shorter than the PQ and a
    // cancel each give their own error; no ".partial" file and no WAV of the failed track remain.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    const std::string pq = fileBytes(dir.path / "PQDESCR");
    const std::string image = fileBytes(dir.path / "IMAGE.DAT");

    fs::remove(dir.path / "PQDESCR");
    EXPECT_EQ(errorText(DDPReader::importDDP(dir.path, dir.path / "A")), "DDP fileset is missing PQDESCR.");
    putFile(dir.path / "PQDESCR", pqLine("00", "00", "000000") + pqLine("AA", "01", "010000"));
    EXPECT_EQ(errorText(DDPReader::importDDP(dir.path, dir.path / "A")),
              "DDP fileset contains no audio tracks.");
    putFile(dir.path / "PQDESCR",
            pqLine("01", "01", "000200") + pqLine("02", "01", "000200") + pqLine("AA", "01", "010000"));
    EXPECT_EQ(errorText(DDPReader::importDDP(dir.path, dir.path / "A")),
              "PQ descriptor is invalid: track 1 has zero length.");

    putFile(dir.path / "PQDESCR", pq);
    putFile(dir.path / "IMAGE.DAT", image.substr(0, image.size() - 2352));
    const fs::path audio = dir.path / "Short";
    EXPECT_EQ(errorText(DDPReader::importDDP(dir.path, audio)),
              "IMAGE.DAT is shorter than the PQ descriptor claims.");
    EXPECT_TRUE(fs::exists(audio / "Track02.wav"));
    EXPECT_FALSE(fs::exists(audio / "Track03.wav"));
    EXPECT_TRUE(leftoverPartials(audio).empty());

    putFile(dir.path / "IMAGE.DAT", image);
    const fs::path cancelled = dir.path / "Cancelled";
    const auto result = DDPReader::importDDP(dir.path, cancelled, [](std::string_view status, double f) {
        return !(status == "Extracting track 2 of 3\u2026" && f > 0.4);
    });
    ASSERT_FALSE(result);
    EXPECT_TRUE(result.error().isCancel());
    EXPECT_TRUE(fs::exists(cancelled / "Track01.wav"));
    EXPECT_FALSE(fs::exists(cancelled / "Track02.wav"));
    EXPECT_TRUE(leftoverPartials(cancelled).empty());
}

TEST(ExtractWAV, stopsWithAudioTooShortWhenTheSourceEndsEarly) {
    // A source that ends inside the range gives audioTooShort and removes the temporary file.
    TempFolder dir;
    std::istringstream source(std::string(3 * 2352, '\x05'));
    const fs::path wav = dir.path / "Track01.wav";
    EXPECT_TRUE(DDPReader::extractWAV(source, 2352, 2 * 2352, wav));
    EXPECT_EQ(fileBytes(wav), DDPReader::wavHeader(2 * 2352) + std::string(2 * 2352, '\x05'));
    const auto short_ = DDPReader::extractWAV(source, 2352, 3 * 2352, dir.path / "Track02.wav");
    ASSERT_FALSE(short_);
    EXPECT_EQ(short_.error(), DDPImportError::audioTooShort());
    EXPECT_FALSE(fs::exists(dir.path / "Track02.wav"));
    EXPECT_TRUE(leftoverPartials(dir.path).empty());
}

TEST(WAVHeader, isCanonicalPCMStereo16BitAt44100) {
    // The 44 bytes are the canonical little-endian PCM header for the data length.
    const std::string h = DDPReader::wavHeader(0x01020304);
    const std::string want = std::string("RIFF") + "\x28\x03\x02\x01" + "WAVEfmt " +
                             std::string("\x10\0\0\0", 4) + std::string("\x01\0\x02\0", 4) +
                             std::string("\x44\xAC\0\0", 4) + std::string("\x10\xB1\x02\0", 4) +
                             std::string("\x04\0\x10\0", 4) + "data" + "\x04\x03\x02\x01";
    EXPECT_EQ(h, want);
}

std::string frame(std::uint8_t type, std::uint8_t track, int block, std::string data12) {
    DDPWriter::CDTextPack pack;
    pack.type = type;
    pack.trackNumber = track;
    std::copy(data12.begin(), data12.end(), pack.data.begin());
    return DDPWriter::framePack(pack, 0, block);
}

TEST(CDTextParsing, skipsDamagedPacksAndKeepsInheritedSecondLanguageFieldsUnset) {
    // A pack with a bad CRC drops its 12 bytes and shifts later strings; block 1 text equal to
    // block 0 is no second-language value, but the second language code is still read.
    std::string bad = frame(T::title, 0, 0, std::string("Album\0Track", 11) + '\0');
    std::string stream = frame(T::title, 0, 0, std::string("Zero\0One\0Two", 12)) + bad +
                         frame(T::title, 2, 0, std::string("Three\0\0\0\0\0\0\0", 12));
    stream[18 + 16] ^= 0x01;
    const CDTextBlock block = DDPReader::parseCDText(stream, 0);
    EXPECT_EQ(block.at(T::title).strings, (std::vector<std::string>{"Zero", "One", "TwoThree"}));
    EXPECT_EQ(DDPReader::text(block, T::title, 2), std::optional<std::string>("TwoThree"));
    EXPECT_FALSE(DDPReader::text(block, T::title, 3).has_value());

    TempFolder dir;
    CDProject project = sampleProject();
    project.cdTextLanguage2Code = 7;
    project.tracks[0].titleLang2 = "Er\u00F6ffnung";
    project.tracks[1].title = "Question?";
    project.tracks[2].title = "Closing \u20AC";
    writeFileset(dir.path, project);
    const auto imported = DDPReader::importDDP(dir.path, dir.path / "Audio");
    ASSERT_TRUE(imported) << errorText(imported);
    EXPECT_EQ(imported->cdTextLanguage2Code, std::optional<std::int64_t>(7));
    EXPECT_EQ(imported->tracks[0].titleLang2, std::optional<std::string>("Er\u00F6ffnung"));
    EXPECT_FALSE(imported->tracks[1].titleLang2.has_value());
    EXPECT_FALSE(imported->albumTitleLang2.has_value());
    EXPECT_EQ(imported->tracks[1].title, "Question?");
    EXPECT_EQ(imported->tracks[2].title, "Closing ?"); // the euro sign is no Latin-1 character
}

TEST(DDPParsers, surviveEveryTruncationAndRandomBytes) {
    // Every prefix of real streams and random streams parse to a value or an error, never a crash.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    const std::string streams[] = {fileBytes(dir.path / "DDPMS"), fileBytes(dir.path / "PQDESCR"),
                                   fileBytes(dir.path / "CDTEXT.BIN"), fileBytes(dir.path / "DDPID")};
    std::mt19937 random(1234);
    std::vector<std::string> inputs;
    for (const std::string& s : streams) {
        for (std::size_t n = 0; n < s.size(); n += 7)
            inputs.push_back(s.substr(0, n));
        inputs.push_back(s);
    }
    for (int i = 0; i < 200; ++i) {
        std::string bytes(random() % 700, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        if (i % 2)
            for (std::size_t at = 0; at + 4 <= bytes.size(); at += 64)
                bytes.replace(at, 4, "VVVS");
        inputs.push_back(bytes);
    }
    std::size_t parsedPQ = 0;
    for (const std::string& in : inputs) {
        DDPReader::parseDDPMS(in);
        parsedPQ += DDPReader::parsePQ(in).has_value();
        DDPReader::parseCDText(in, 0);
        DDPReader::parseCDText(in, 1);
        DDPReader::parseCDTextGenre(in);
        DDPReader::parseCDTextLanguage(in, 1);
    }
    EXPECT_GT(parsedPQ, 0u);

    const std::string pq = streams[1];
    for (std::size_t n = 0; n < pq.size(); n += 64) {
        putFile(dir.path / "PQDESCR", pq.substr(0, n));
        const auto result = DDPReader::importDDP(dir.path, dir.path / "Audio");
        EXPECT_FALSE(result) << "length " << n;
    }
}

TEST(AudioFolder, takesTheFirstFreeNumberedName) {
    // " Audio", then " Audio 2", " Audio 3" ... until the name is free.
    TempFolder dir;
    EXPECT_EQ(DDPReader::freeAudioFolder(dir.path, "Album"), dir.path / "Album Audio");
    fs::create_directories(dir.path / "Album Audio");
    fs::create_directories(dir.path / "Album Audio 2");
    EXPECT_EQ(DDPReader::freeAudioFolder(dir.path, "Album"), dir.path / "Album Audio 3");
}

} // namespace
} // namespace orvane
