#include "workspace/ProjectStore.h"

#include "model/ProjectCoding.h"
#include "platform/AtomicFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <nlohmann/json.hpp>

namespace orvane {

ProjectStoreError::ProjectStoreError(ProjectStoreErrorCode code, const std::string& message,
                                     std::optional<std::int64_t> version)
    : std::runtime_error(message), code_(code), version_(version) {}

ProjectStoreError ProjectStoreError::unsupportedVersion(std::int64_t version) {
    return ProjectStoreError{ProjectStoreErrorCode::unsupportedVersion,
                             "Project file version " + std::to_string(version) +
                                 " is not supported by this version of Orvane.",
                             version};
}

namespace ProjectStore {

namespace {

// nlohmann's messages open with "[json.exception.parse_error.101] "; the user needn't see that.
std::string withoutLibraryPrefix(const std::string& text) {
    if (text.starts_with("[json.exception.")) {
        const auto end = text.find("] ");
        if (end != std::string::npos)
            return text.substr(end + 2);
    }
    return text;
}

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// `subject` names the document in the message: "The file" or the quoted file name.
ProjectFile decodeNamed(std::string_view bytes, const std::string& subject) {
    const auto invalid = [&](ProjectStoreErrorCode code, const std::string& why) {
        return ProjectStoreError{code, subject + " is not a valid Orvane project: " + why + "."};
    };
    nlohmann::json document;
    try {
        document = nlohmann::json::parse(bytes);
    } catch (const nlohmann::json::parse_error& error) {
        throw invalid(ProjectStoreErrorCode::invalidJSON,
                      "it is not JSON (" + withoutLibraryPrefix(error.what()) + ")");
    }
    if (!document.is_object())
        throw invalid(ProjectStoreErrorCode::invalidDocument, "its top level is not a JSON object");

    const auto version = document.find("version");
    if (version == document.end())
        throw invalid(ProjectStoreErrorCode::invalidDocument, "missing required key \"version\"");
    if (!version->is_number_integer() ||
        (version->is_number_unsigned() &&
         version->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)))
        throw invalid(ProjectStoreErrorCode::invalidDocument, "\"version\" is not an integer");

    const auto project = document.find("project");
    if (project == document.end())
        throw invalid(ProjectStoreErrorCode::invalidDocument, "missing required key \"project\"");
    auto decoded = ProjectCoding::decode(*project, "project");
    if (!decoded)
        throw invalid(ProjectStoreErrorCode::invalidDocument, decoded.error().description());

    return ProjectFile{version->get<std::int64_t>(), std::move(*decoded)};
}

// JSON has no spelling for NaN or infinity: written, they would come back as null and the document
// would no longer open.
bool holdsNonFiniteNumber(const nlohmann::json& value) {
    if (value.is_number_float())
        return !std::isfinite(value.get<double>());
    if (value.is_structured()) {
        for (const auto& element : value)
            if (holdsNonFiniteNumber(element))
                return true;
    }
    return false;
}

void refuseNewerVersion(const ProjectFile& file) {
    if (file.version > currentVersion)
        throw ProjectStoreError::unsupportedVersion(file.version);
}

} // namespace

std::vector<std::string> openableExtensions() {
    std::vector<std::string> extensions{std::string{fileExtension}};
    for (const auto legacy : legacyFileExtensions)
        extensions.emplace_back(legacy);
    return extensions;
}

bool isOpenablePath(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    if (extension.size() < 2)
        return false;
    const std::string bare = lowercased(extension.substr(1));
    const auto known = openableExtensions();
    return std::find(known.begin(), known.end(), bare) != known.end();
}

std::string encode(const ProjectFile& file) {
    nlohmann::json document = nlohmann::json::object();
    document["version"] = file.version;
    document["project"] = ProjectCoding::encode(file.project);
    if (holdsNonFiniteNumber(document))
        throw ProjectStoreError{
            ProjectStoreErrorCode::encodeFailed,
            "The project could not be saved: it holds a level or curve value that is not a "
            "number."};
    try {
        // nlohmann's default objects are sorted maps, so every object's keys come out in order.
        return document.dump(2) + "\n";
    } catch (const nlohmann::json::type_error& error) {
        throw ProjectStoreError{ProjectStoreErrorCode::encodeFailed,
                                "The project could not be saved: " + withoutLibraryPrefix(error.what())};
    }
}

std::string encode(const CDProject& project) {
    return encode(ProjectFile{currentVersion, project});
}

ProjectFile decode(std::string_view bytes) {
    return decodeNamed(bytes, "The file");
}

ProjectFile decodeSupported(std::string_view bytes) {
    auto file = decode(bytes);
    refuseNewerVersion(file);
    return file;
}

std::string read(const std::filesystem::path& path) {
    auto bytes = AtomicFile::read(path);
    if (!bytes)
        throw ProjectStoreError{ProjectStoreErrorCode::readFailed, bytes.error()};
    return std::move(*bytes);
}

void writeAtomically(const std::filesystem::path& path, std::string_view bytes) {
    const auto written = AtomicFile::write(path, bytes);
    if (!written)
        throw ProjectStoreError{ProjectStoreErrorCode::writeFailed, written.error()};
}

ProjectFile load(const std::filesystem::path& path) {
    const std::string bytes = read(path);
    auto file = decodeNamed(bytes, "\u201C" + path.filename().string() + "\u201D");
    refuseNewerVersion(file);
    return file;
}

void save(const CDProject& project, const std::filesystem::path& path) {
    writeAtomically(path, encode(project));
}

} // namespace ProjectStore

} // namespace orvane
