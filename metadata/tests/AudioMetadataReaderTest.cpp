#include "metadata/AudioMetadataReader.h"

#include "TagFileBuilder.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

namespace orvane {
namespace {

using namespace tagtest;
using namespace std::literals;

AudioFileMetadata readBytes(const std::string& bytes) {
    return AudioMetadataReader::read(MemoryTagSource(bytes));
}

// A Broadcast-WAV extension: the 256-byte description, then zeroed originator fields.
std::string bextChunk(std::string_view description) {
    std::string body(description);
    body.resize(602, '\0');
    return riffChunk("bext", body);
}

std::string audioChunk(std::size_t bytes) {
    return riffChunk("data", std::string(bytes, '\x11'));
}

std::string id3Chunk(std::string_view id, std::string_view frames) {
    return riffChunk(id, id3Tag(3, frames));
}

// A WAV as a recorder and a mastering tool leave it: bext, iXML and INFO around the audio.
std::string broadcastWave() {
    return wave({fmtChunk(), bextChunk("Final master ISRC: GB-AAA-25-00001"),
                 riffChunk("iXML", "<BWFXML><PROJECT>Album</PROJECT><ISRC>FR-Z03-98-00212</ISRC></BWFXML>"),
                 audioChunk(1001),
                 listInfo({riffChunk("ISFT", "Recorder 2.1"), riffChunk("INAM", "Morning Tide\0"s),
                           riffChunk("IART", " The Harbour Quartet ")})});
}

TEST(AudioMetadataReader, readsBroadcastWaveChunksAroundTheAudio) {
    // iXML gives the ISRC over bext; INFO gives title and performer; odd-sized audio is padded and crossed.
    const AudioFileMetadata tags = readBytes(broadcastWave());
    EXPECT_EQ(tags, (AudioFileMetadata{"FRZ039800212", "Morning Tide", "The Harbour Quartet", {}, {}}));
}

TEST(AudioMetadataReader, readsFilesOnDiskByPathAndURL) {
    // The same bytes read from a file give the same record; a missing file, a folder, a pipe or a URL that is
    // not a file give the empty record.
    const testing::TempFolder temp("orvane-tags-test");
    const std::filesystem::path& folder = temp.path;
    const std::filesystem::path file = folder / "Morning Tide.wav";
    std::ofstream(file, std::ios::binary) << broadcastWave();
    EXPECT_EQ(AudioMetadataReader::read(FileURL::fromPath(file)), readBytes(broadcastWave()));
    EXPECT_EQ(AudioMetadataReader::read(file).title, "Morning Tide");
    EXPECT_EQ(AudioMetadataReader::read(folder / "absent.wav"), AudioFileMetadata{});
    EXPECT_EQ(AudioMetadataReader::read(folder), AudioFileMetadata{});
    // A named pipe would block an open for reading until a writer comes; it must be refused instead.
    const std::filesystem::path pipe = folder / "pipe.wav";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(AudioMetadataReader::read(pipe), AudioFileMetadata{});
    EXPECT_EQ(AudioMetadataReader::read(FileURL{"https://example.com/a.wav"}), AudioFileMetadata{});
}

TEST(AudioMetadataReader, ordersTheSourcesOfEachField) {
    // ISRC: iXML, then aXML, then ID3, then bext, a bad value falling through. Title and performer: ID3, then
    // INFO. Composer and songwriter only from ID3. A later chunk of a kind replaces an earlier one.
    const std::string id3 = id3Chunk(
        "id3 ", id3Frame(3, "TIT2", text(0, "Tag Title")) + id3Frame(3, "TCOM", text(0, "Composer")) +
                    id3Frame(3, "TEXT", text(0, "Lyricist")) + id3Frame(3, "TSRC", text(0, "USRC17700005")));
    const std::string info = listInfo({riffChunk("INAM", "Info Title"), riffChunk("IART", "Info Artist")});
    const std::string bext = bextChunk("ISRC GB-AAA-25-00001");

    EXPECT_EQ(readBytes(wave({info, bext, riffChunk("iXML", "<ISRC>bad</ISRC>"), id3})),
              (AudioFileMetadata{"USRC17700005", "Tag Title", "Info Artist", "Composer", "Lyricist"}));
    EXPECT_EQ(
        readBytes(wave({id3, bext, riffChunk("axml", "<dc:identifier>ISRC DEA129912345</dc:identifier>")}))
            .isrc,
        "DEA129912345");
    EXPECT_EQ(readBytes(wave({bext, info})).isrc, "GBAAA2500001");
    EXPECT_EQ(readBytes(wave({riffChunk("ixml", "<ISRC>FRZ039800212</ISRC>"), id3, bext})).isrc,
              "FRZ039800212");
    EXPECT_EQ(
        readBytes(wave({info, listInfo({riffChunk("INAM", "Later")}), riffChunk("LIST", "adtlxxxx")})).title,
        "Later");
    EXPECT_EQ(readBytes(wave({id3, id3Chunk("ID3 ", id3Frame(3, "TPE1", text(0, "Later")))})),
              (AudioFileMetadata{{}, {}, "Later", {}, {}}));
}

TEST(AudioMetadataReader, readsAIFFTextChunksUnderItsID3Tag) {
    // AIFF and AIFC: NAME and AUTH fill what the ID3 chunk leaves; ANNO says nothing that is read.
    const std::string comm = aiffChunk("COMM", std::string(18, '\0'));
    const std::string sound = aiffChunk("SSND", std::string(8, '\0') + std::string(401, '\x22'));
    const std::string name = aiffChunk("NAME", "Chunk Title");
    const std::string author = aiffChunk("AUTH", "Chunk Author\r\n");
    const std::string annotation = aiffChunk("ANNO", "ISRC GB-AAA-25-00001");
    const std::string tag = aiffChunk("ID3 ", id3Tag(4, id3Frame(4, "TIT2", text(3, "Tag Title")) +
                                                            id3Frame(4, "TSRC", text(0, "usrc17700005"))));

    EXPECT_EQ(readBytes(aiff({comm, name, author, annotation, sound, tag})),
              (AudioFileMetadata{"USRC17700005", "Tag Title", "Chunk Author", {}, {}}));
    EXPECT_EQ(readBytes(aiff({comm, annotation, name, author, sound})),
              (AudioFileMetadata{{}, "Chunk Title", "Chunk Author", {}, {}}));
    std::string aifc = aiff({comm, sound, name});
    aifc.replace(8, 4, "AIFC");
    EXPECT_EQ(readBytes(aifc).title, "Chunk Title");
}

TEST(AudioMetadataReader, readsATagAtTheHeadOfAnyFile) {
    // An MP3 begins with its tag; a tag that claims more than the file holds is read as far as it goes.
    const std::string tag =
        id3Tag(3, id3Frame(3, "TIT2", text(0, "Lead")) + id3Frame(3, "TPE1", text(0, "Band")));
    const std::string mpegFrames = "\xFF\xFB\x90\x00"s + std::string(500, '\0');
    EXPECT_EQ(readBytes(tag + mpegFrames), (AudioFileMetadata{{}, "Lead", "Band", {}, {}}));
    std::string claimsMore = tag;
    claimsMore.replace(6, 4, syncsafe(0x0FFFFFFF));
    EXPECT_EQ(readBytes(claimsMore).performer, "Band");
    EXPECT_EQ(readBytes("fLaC"s + std::string(100, '\0')), AudioFileMetadata{});
    EXPECT_EQ(readBytes("RIFF\0\0\0\0WAV"s), AudioFileMetadata{});
}

TEST(AudioMetadataReader, crossesRF64AudioThroughTheDs64Size) {
    // An iXML chunk behind 5 GiB of RF64 audio is found with a few small reads.
    const std::uint64_t audioBytes = 5ULL << 30;
    const std::string head =
        "RF64"s + le32(0xFFFFFFFF) + "WAVE" +
        riffChunk("ds64", le64(audioBytes + 200) + le64(audioBytes) + le64(audioBytes / 4) + le32(0)) +
        fmtChunk() + "data" + le32(0xFFFFFFFF);
    const std::string tail = riffChunk("iXML", "<ISRC>FRZ039800212</ISRC>");
    SparseTagSource file(head.size() + audioBytes + tail.size());
    file.place(0, head);
    file.place(head.size() + audioBytes, tail);
    EXPECT_EQ(AudioMetadataReader::read(file).isrc, "FRZ039800212");
    EXPECT_LT(file.bytesRequested, 4096u);
}

TEST(AudioMetadataReader, skipsAChunkOverTheReadLimit) {
    // A 9 MiB ID3 chunk counts as absent and is never read; INFO after it still gives the title.
    const std::string head = "RIFF"s + le32(0) + "WAVE" + "ID3 " + le32(9u << 20) +
                             id3Tag(3, id3Frame(3, "TIT2", text(0, "Huge")));
    const std::string tail = listInfo({riffChunk("INAM", "Info Title")});
    SparseTagSource file(12 + 8 + (9u << 20) + tail.size());
    file.place(0, head);
    file.place(12 + 8 + (9u << 20), tail);
    EXPECT_EQ(AudioMetadataReader::read(file), (AudioFileMetadata{{}, "Info Title", {}, {}, {}}));
    EXPECT_LT(file.bytesRequested, 4096u);
}

TEST(AudioMetadataReader, sizesThatLieEndTheWalkWithWhatWasFound) {
    // Sizes that overrun the file, overflow 64 bits or forget the pad byte give a partial record at worst,
    // and a claimed 8 MiB chunk in a small file is refused before anything is allocated or read.
    const std::string info = listInfo({riffChunk("INAM", "Before")});
    EXPECT_EQ(readBytes(wave({info, "bext"s + le32(0xFFFFFFF0) + "ISRC GBAAA2500001"})).title, "Before");
    EXPECT_EQ(readBytes(wave({info, "iXML"s + le32(8u << 20) + "<ISRC>FRZ039800212</ISRC>"})),
              (AudioFileMetadata{{}, "Before", {}, {}, {}}));
    EXPECT_EQ(readBytes(wave({riffChunk("LIST", "INFO"s + "INAM" + le32(1000) + "Lies")})),
              AudioFileMetadata{});
    EXPECT_EQ(
        readBytes(wave({riffChunk("LIST", "INFO"s + riffChunk("IART", "Kept") + "INAM" + le32(99) + "x")}))
            .performer,
        "Kept");
    const std::string hugeDs64 = riffChunk("ds64", le64(0) + le64(~0ULL) + le64(0));
    EXPECT_EQ(readBytes(wave({info, hugeDs64, "data"s + le32(0xFFFFFFFF) + "abcd", info})).title, "Before");
    const std::string unpadded = "INAM"s + le32(3) + "Odd" + "IART" + le32(4) + "Band";
    EXPECT_NO_FATAL_FAILURE(readBytes(wave({"LIST"s + le32(4 + 11 + 12) + "INFO" + unpadded})));
    EXPECT_EQ(readBytes(aiff({aiffChunk("NAME", "Before"), "AUTH"s + be32(0xFFFFFFFF) + "Lies"})).title,
              "Before");

    SparseTagSource small(64);
    small.place(0, "RIFF"s + le32(56) + "WAVE" + "iXML" + le32(8u << 20));
    EXPECT_EQ(AudioMetadataReader::read(small), AudioFileMetadata{});
    EXPECT_LT(small.bytesRequested, 64u);
}

TEST(AudioMetadataReader, everyCutOfAValidFileReadsSafely) {
    // Cut at every byte, a file gives a record whose values all stand in the whole file; ASan catches any
    // read past the end of the heap copy each prefix lives in.
    const std::string ixml = riffChunk("iXML", "<ISRC>FRZ039800212</ISRC>");
    const std::string tag =
        id3Tag(4,
               id3Frame(4, "TIT2", text(1, "\xFF\xFE"s + utf16(u"Tag Title", false))) +
                   id3Frame(4, "TSRC", text(0, "USRC17700005")) + id3Frame(4, "TPE1", text(0, "Tag Artist")),
               0, 7);
    const std::string files[] = {
        wave({fmtChunk(), bextChunk("ISRC GB-AAA-25-00001"), audioChunk(33), riffChunk("id3 ", tag), ixml,
              listInfo({riffChunk("INAM", "Info Title"), riffChunk("IART", "Info Artist")})}),
        aiff({aiffChunk("NAME", "Chunk Title"), aiffChunk("AUTH", "Chunk Author"), aiffChunk("ID3 ", tag)}),
        tag + std::string(20, '\0'),
    };
    const std::set<std::optional<std::string>> written = {
        std::nullopt, "FRZ039800212", "USRC17700005", "GBAAA2500001", "Tag Title",
        "Tag Artist", "Info Title",   "Info Artist",  "Chunk Title",  "Chunk Author"};
    for (const std::string& file : files) {
        for (std::size_t length = 0; length <= file.size(); ++length) {
            const auto copy = std::make_unique<char[]>(length); // exactly the prefix, nothing after it
            std::copy_n(file.data(), length, copy.get());
            const std::string_view prefix(copy.get(), length);
            const AudioFileMetadata tags = AudioMetadataReader::read(MemoryTagSource(prefix));
            const AudioFileMetadata bare = AudioMetadataReader::parseID3(prefix);
            for (const auto* field : {&tags.isrc, &tags.title, &tags.performer, &tags.composer,
                                      &tags.songwriter, &bare.isrc, &bare.title, &bare.performer})
                EXPECT_TRUE(written.contains(*field)) << "cut at " << length << ": " << field->value_or("");
        }
    }
}

} // namespace
} // namespace orvane
