#pragma once
// Random access to the bytes of one file for the tag reader, which jumps from chunk to chunk and
// never reads the audio. The file-backed source lives with the reader; the memory source serves
// bytes already loaded. A source is used by one thread at a time.

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace orvane {

class TagSource {
  public:
    virtual ~TagSource() = default;

    // The file's length in bytes.
    virtual std::uint64_t length() const = 0;
    // Fills `out` with the bytes at `offset`; false when they are not all there, and `out` is then
    // unspecified.
    virtual bool readAt(std::uint64_t offset, std::span<char> out) const = 0;

  protected:
    TagSource() = default;
    TagSource(const TagSource&) = default;
    TagSource& operator=(const TagSource&) = default;
};

// A view of bytes in memory; they must outlive the source.
class MemoryTagSource final : public TagSource {
  public:
    explicit MemoryTagSource(std::string_view bytes) : bytes_(bytes) {}

    std::uint64_t length() const override { return bytes_.size(); }

    bool readAt(std::uint64_t offset, std::span<char> out) const override {
        if (offset > bytes_.size() || out.size() > bytes_.size() - offset)
            return false;
        if (!out.empty())
            std::memcpy(out.data(), bytes_.data() + offset, out.size());
        return true;
    }

  private:
    std::string_view bytes_;
};

} // namespace orvane
