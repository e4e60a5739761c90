#include "model/FileURL.h"

#include <cctype>

namespace orvane {

namespace {

constexpr std::string_view kFileScheme = "file://";

bool isUnreserved(unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '~' || c == '/' || c == '!' ||
           c == '$' || c == '&' || c == '\'' || c == '(' || c == ')' || c == '*' || c == '+' || c == ',' ||
           c == ';' || c == '=' || c == ':' || c == '@';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string percentDecode(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                out.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        out.push_back(text[i]);
    }
    return out;
}

} // namespace

FileURL FileURL::fromPath(const std::filesystem::path& path) {
    const std::string absolute = std::filesystem::absolute(path).lexically_normal().string();
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out{kFileScheme};
    for (const char ch : absolute) {
        const auto c = static_cast<unsigned char>(ch);
        if (isUnreserved(c)) {
            out.push_back(ch);
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 0x0F]);
        }
    }
    return FileURL{out};
}

std::optional<FileURL> FileURL::parse(std::string_view text) {
    if (text.starts_with(kFileScheme) && text.size() > kFileScheme.size())
        return FileURL{std::string{text}};
    if (text.starts_with('/'))
        return fromPath(std::filesystem::path{std::string{text}});
    // Other schemes are kept as written; they name no local file and read as missing audio.
    const auto colon = text.find(':');
    if (colon != std::string_view::npos && colon > 0 && std::isalpha(static_cast<unsigned char>(text[0])))
        return FileURL{std::string{text}};
    return std::nullopt;
}

std::filesystem::path FileURL::path() const {
    std::string_view rest = absoluteString;
    if (!rest.starts_with(kFileScheme))
        return {};
    rest.remove_prefix(kFileScheme.size());
    // "file://localhost/x" and "file:///x" both name /x.
    if (rest.starts_with("localhost/"))
        rest.remove_prefix(9);
    if (!rest.starts_with('/'))
        return {};
    const auto query = rest.find_first_of("?#");
    if (query != std::string_view::npos)
        rest = rest.substr(0, query);
    return std::filesystem::path{percentDecode(rest)};
}

std::string FileURL::lastPathComponent() const {
    const auto p = path();
    if (!p.empty())
        return p.filename().string();
    const auto slash = absoluteString.find_last_of('/');
    return slash == std::string::npos ? absoluteString : percentDecode(absoluteString.substr(slash + 1));
}

std::string FileURL::pathExtension() const {
    const std::string name = lastPathComponent();
    const auto dot = name.find_last_of('.');
    if (dot == std::string::npos || dot == 0)
        return {};
    return name.substr(dot + 1);
}

} // namespace orvane
