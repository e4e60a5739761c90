#pragma once
// A reference to a source file as a document stores it: the URL's absolute string
// ("file:///Music/My%20Song.wav"). Equality is by that string, as the document compares it.
// Pure value; any thread.

#include <compare>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

struct FileURL {
    std::string absoluteString;

    // From a local path; relative paths are made absolute against the working folder.
    static FileURL fromPath(const std::filesystem::path& path);
    // From a document's text: a "file://" URL, or a bare absolute path taken as one. Nothing otherwise.
    static std::optional<FileURL> parse(std::string_view text);

    std::filesystem::path path() const; // percent-decoded local path; empty if not a file URL
    std::string lastPathComponent() const;
    std::string pathExtension() const; // without the dot, as written

    auto operator<=>(const FileURL&) const = default;
};

} // namespace orvane

template <> struct std::hash<orvane::FileURL> {
    std::size_t operator()(const orvane::FileURL& u) const noexcept {
        return std::hash<std::string>{}(u.absoluteString);
    }
};
