#include "workspace/AutosaveStore.h"

#include "model/ProjectCoding.h"
#include "platform/AtomicFile.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <system_error>

namespace orvane::AutosaveStore {

namespace {

std::filesystem::path dataFolder() {
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
        std::filesystem::path folder(xdg);
        if (folder.is_absolute()) {
            return folder;
        }
    }
    if (const char* home = std::getenv("HOME"); home && *home) {
        return std::filesystem::path(home) / ".local" / "share";
    }
    std::error_code error;
    auto temp = std::filesystem::temp_directory_path(error);
    return error ? std::filesystem::path("/tmp") : temp;
}

} // namespace

std::filesystem::path defaultDirectory() {
    return dataFolder() / "Orvane" / "Recovery";
}

std::filesystem::path fileURL(const std::filesystem::path& directory) {
    return directory / fileName;
}

std::string encode(const RecoveryFile& file) {
    nlohmann::json json = nlohmann::json::object();
    json["version"] = file.version;
    json["savedAt"] = file.savedAt.iso8601();
    if (file.originalPath) {
        json["originalPath"] = *file.originalPath;
    }
    try {
        json["project"] = ProjectCoding::encode(file.project);
        return json.dump(2);
    } catch (const nlohmann::json::exception& error) {
        throw AutosaveError(std::string("The recovery copy could not be encoded: ") + error.what());
    }
}

std::optional<RecoveryFile> decode(std::string_view bytes) {
    const nlohmann::json json = nlohmann::json::parse(bytes, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto version = json.find("version");
    const auto savedAt = json.find("savedAt");
    const auto project = json.find("project");
    if (version == json.end() || !version->is_number_integer() || savedAt == json.end() ||
        !savedAt->is_string() || project == json.end()) {
        return std::nullopt;
    }
    RecoveryFile file;
    file.version = version->get<std::int64_t>();
    if (file.version >= firstUnreadableVersion) {
        return std::nullopt;
    }
    const auto stamp = Timestamp::parseISO8601(savedAt->get<std::string>());
    if (!stamp) {
        return std::nullopt;
    }
    file.savedAt = *stamp;
    if (const auto original = json.find("originalPath"); original != json.end() && !original->is_null()) {
        if (!original->is_string()) {
            return std::nullopt;
        }
        file.originalPath = original->get<std::string>();
    }
    auto decoded = ProjectCoding::decode(*project);
    if (!decoded) {
        return std::nullopt;
    }
    file.project = std::move(*decoded);
    return file;
}

void write(const CDProject& project, const std::optional<std::filesystem::path>& originalURL,
           const std::filesystem::path& directory) {
    RecoveryFile file;
    file.savedAt = Timestamp::now();
    if (originalURL) {
        file.originalPath = originalURL->string();
    }
    file.project = project;
    const std::string bytes = encode(file);

    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        throw AutosaveError("Could not create “" + directory.string() + "”: " + error.message());
    }
    if (auto written = AtomicFile::write(fileURL(directory), bytes); !written) {
        throw AutosaveError(written.error());
    }
}

std::optional<RecoveryFile> load(const std::filesystem::path& directory) {
    auto bytes = AtomicFile::read(fileURL(directory));
    if (!bytes) {
        return std::nullopt;
    }
    return decode(*bytes);
}

bool exists(const std::filesystem::path& directory) {
    std::error_code error;
    return std::filesystem::is_regular_file(fileURL(directory), error);
}

void clear(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::remove(fileURL(directory), error); // dropped: see the header
}

std::string displayName(const RecoveryFile& file) {
    if (file.originalPath) {
        const std::string stem = std::filesystem::path(*file.originalPath).stem().string();
        if (!stem.empty()) {
            return stem;
        }
    }
    return file.project.albumTitle.empty() ? std::string("Untitled") : file.project.albumTitle;
}

} // namespace orvane::AutosaveStore
