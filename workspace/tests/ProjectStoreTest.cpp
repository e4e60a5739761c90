#include "workspace/ProjectStore.h"

#include "testsupport/TempFolder.h"
#include "workspace/tests/TrackTestFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace orvane {
namespace {

namespace fs = std::filesystem;

CDProject sampleProject() {
    CDProject project;
    project.albumTitle = "Night \u00C9tudes";
    project.mcn = "0123456789012";
    project.masterSRC = "Velmont SRC";
    project.srcHybridMode = false;
    auto first = CDTrack::make("Prelude", std::string{"GBAYE0000001"}, 150, 588 * 75 * 200);
    first.audioFileURL = FileURL::fromPath("/music/Prelude take 2.wav");
    first.gainEnabled = true;
    first.gainDB = -0.1f;
    first.subIndexFrames = {75, 150};
    auto second = CDTrack::make("Fugue", std::nullopt, -75, 588 * 75 * 180);
    second.fadeOutSamples = 44100;
    second.fadeOutCurve = 0.25f;
    second.indexLocked = false;
    project.tracks = {first, second};
    return project;
}

std::string documentWithVersion(const std::string& versionJSON) {
    return R"({"version": )" + versionJSON + R"(, "project": {"mcn": "", "albumTitle": "A", "tracks": []}})";
}

// Every object in the text lists its keys in ascending order.
void expectSortedKeys(const nlohmann::ordered_json& value, const std::string& where) {
    if (value.is_object()) {
        std::string previous;
        for (const auto& item : value.items()) {
            EXPECT_LT(previous, item.key()) << "keys out of order at " << where;
            previous = item.key();
            expectSortedKeys(item.value(), where + "." + item.key());
        }
    } else if (value.is_array()) {
        for (const auto& element : value)
            expectSortedKeys(element, where + "[]");
    }
}

ProjectStoreErrorCode codeOfDecoding(const std::string& bytes, std::string* message = nullptr) {
    try {
        ProjectStore::decodeSupported(bytes);
    } catch (const ProjectStoreError& error) {
        if (message != nullptr)
            *message = error.what();
        return error.code();
    }
    ADD_FAILURE() << "decoding succeeded for " << bytes;
    return ProjectStoreErrorCode::encodeFailed;
}

class ProjectStoreFiles : public ::testing::Test {
  protected:
    testing::TempFolder temp_{"orvane-projectstore"};
    const fs::path& folder_ = temp_.path;
};

TEST_F(ProjectStoreFiles, savingTwiceWritesTheSameBytesAndLoadingGivesTheProjectBack) {
    // The document is deterministic: two saves of one project are byte-identical, and it reads back equal.
    const auto project = sampleProject();
    const auto first = folder_ / "Album.ovproj";
    const auto second = folder_ / "Album copy.ovproj";
    ProjectStore::save(project, first);
    ProjectStore::save(project, second);
    ProjectStore::save(project, first);
    EXPECT_EQ(testing::fileBytes(first), testing::fileBytes(second));

    const auto loaded = ProjectStore::load(first);
    EXPECT_EQ(loaded.project, project);
    EXPECT_EQ(ProjectStore::encode(loaded.project), testing::fileBytes(first));
}

TEST(ProjectStore, theDocumentIsPrettyPrintedWithSortedKeysAndVersionOne) {
    // Every object of the document, nested ones too, has its keys in sorted order, one per line.
    const std::string bytes = ProjectStore::encode(sampleProject());
    const auto document = nlohmann::ordered_json::parse(bytes);
    expectSortedKeys(document, "");
    EXPECT_EQ(document.at("version"), 1);
    EXPECT_NE(bytes.find("\n  \"project\": {\n"), std::string::npos);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 2), "{\n");
}

TEST(ProjectStore, oldVersionsOpenAndNewerOnesAreRefusedWithTheirNumber) {
    // Any version up to 1 opens (0 and negatives too); 2 is refused as unsupported.
    EXPECT_EQ(ProjectStore::decodeSupported(documentWithVersion("0")).version, 0);
    EXPECT_EQ(ProjectStore::decodeSupported(documentWithVersion("-1")).version, -1);
    EXPECT_EQ(ProjectStore::decodeSupported(documentWithVersion("1")).project.albumTitle, "A");

    EXPECT_EQ(codeOfDecoding(documentWithVersion("2")), ProjectStoreErrorCode::unsupportedVersion);
    // The plain decoder still reads a newer document, for whoever wants to say more about it.
    EXPECT_EQ(ProjectStore::decode(documentWithVersion("2")).version, 2);
}

TEST(ProjectStore, brokenDocumentsFailWithATextThatSaysWhatIsWrong) {
    // Bad JSON, a missing top-level key and a version of the wrong type each fail the whole document
    // with a message naming the problem.
    std::string message;
    EXPECT_EQ(codeOfDecoding("{\"version\": 1, \"project\": ", &message), ProjectStoreErrorCode::invalidJSON);
    EXPECT_NE(message.find("is not JSON"), std::string::npos) << message;
    EXPECT_EQ(message.find("json.exception"), std::string::npos) << message;

    EXPECT_EQ(codeOfDecoding("", &message), ProjectStoreErrorCode::invalidJSON);
    EXPECT_EQ(codeOfDecoding("[1]", &message), ProjectStoreErrorCode::invalidDocument);

    EXPECT_EQ(codeOfDecoding(R"({"project": {"mcn": "", "albumTitle": "", "tracks": []}})", &message),
              ProjectStoreErrorCode::invalidDocument);
    EXPECT_NE(message.find("missing required key \"version\""), std::string::npos) << message;

    EXPECT_EQ(codeOfDecoding(R"({"version": 1})", &message), ProjectStoreErrorCode::invalidDocument);
    EXPECT_NE(message.find("missing required key \"project\""), std::string::npos) << message;

    EXPECT_EQ(codeOfDecoding(documentWithVersion("\"1\"")), ProjectStoreErrorCode::invalidDocument);
    EXPECT_EQ(codeOfDecoding(documentWithVersion("1.5")), ProjectStoreErrorCode::invalidDocument);
    EXPECT_EQ(codeOfDecoding(documentWithVersion("18446744073709551615")),
              ProjectStoreErrorCode::invalidDocument);
}

TEST_F(ProjectStoreFiles, legacyExtensionsOpenAndNamedFilesAppearInTheMessages) {
    // Files named ovproj, ovt and orvane in any case open; read failures and bad content name the file.
    EXPECT_TRUE(ProjectStore::isOpenablePath("/a/Disc.ovproj"));
    EXPECT_TRUE(ProjectStore::isOpenablePath("/a/Disc.OVT"));
    EXPECT_TRUE(ProjectStore::isOpenablePath("Disc.orvane"));
    EXPECT_FALSE(ProjectStore::isOpenablePath("/a/Disc.json"));
    EXPECT_FALSE(ProjectStore::isOpenablePath("/a/ovproj"));
    EXPECT_FALSE(ProjectStore::isOpenablePath("/a/Disc.ovproj.bak"));

    try {
        ProjectStore::load(folder_ / "Gone.ovproj");
        ADD_FAILURE() << "a missing file loaded";
    } catch (const ProjectStoreError& error) {
        EXPECT_EQ(error.code(), ProjectStoreErrorCode::readFailed);
        EXPECT_NE(std::string{error.what()}.find("Gone.ovproj"), std::string::npos) << error.what();
    }

    const auto broken = folder_ / "Broken.ovproj";
    ProjectStore::writeAtomically(broken, "not json");
    try {
        ProjectStore::load(broken);
        ADD_FAILURE() << "a broken file loaded";
    } catch (const ProjectStoreError& error) {
        EXPECT_EQ(error.code(), ProjectStoreErrorCode::invalidJSON);
        EXPECT_TRUE(
            std::string{error.what()}.starts_with("\u201CBroken.ovproj\u201D is not a valid Orvane project"))
            << error.what();
    }
}

TEST_F(ProjectStoreFiles, aFailedSaveLeavesTheOldDocumentWhole) {
    // A project that can't be encoded, or a target that can't be written, throws and the document
    // already on disk keeps its bytes.
    const auto target = folder_ / "Keep.ovproj";
    ProjectStore::save(sampleProject(), target);
    const std::string before = testing::fileBytes(target);

    auto unencodable = sampleProject();
    unencodable.tracks[0].gainDB = std::nanf("");
    try {
        ProjectStore::save(unencodable, target);
        ADD_FAILURE() << "a NaN gain was saved";
    } catch (const ProjectStoreError& error) {
        EXPECT_EQ(error.code(), ProjectStoreErrorCode::encodeFailed);
    }
    auto badText = sampleProject();
    badText.albumTitle = "bad \xC3";
    EXPECT_THROW(ProjectStore::save(badText, target), ProjectStoreError);
    EXPECT_EQ(testing::fileBytes(target), before);

    try {
        ProjectStore::save(sampleProject(), folder_ / "missing" / "New.ovproj");
        ADD_FAILURE() << "saved into a missing folder";
    } catch (const ProjectStoreError& error) {
        EXPECT_EQ(error.code(), ProjectStoreErrorCode::writeFailed);
        EXPECT_NE(std::string{error.what()}.find("New.ovproj"), std::string::npos) << error.what();
    }
}

} // namespace
} // namespace orvane
