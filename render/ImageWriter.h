#pragma once
// Quantises and writes a disc image on threads of its own, so that the render, the dither, the disk
// and the image's MD5 overlap: the render hands over float chunks, a quantiser thread turns them into
// 16-bit bytes in order, a digest thread (when a digest is asked for) feeds them to the running MD5,
// which is serial by nature and as slow as the rest together, and a writer thread writes them.
// Every member is called by the one thread that made the object; the inner threads never outlive it.
// Memory is a few chunks, however long the image.
//
// The bytes go out in aligned blocks of whole device blocks, bypassing the page cache where the file
// system allows it: an image is written once and read back at most once, and copying 800 MB through
// the cache costs as much as dithering it. Whatever cannot be written that way (the last, shorter
// block; a file system that refuses) is written through the cache as usual.
#include "engines/DitherType.h"
#include "render/Exporter.h"
#include "render/detail/HandOff.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace orvane {

class ImageWriter final {
  public:
    // Starts both threads on an open file descriptor, which stays the caller's to close.
    // `fileName` names the file in error texts; audio chunks flagged for dither take `masterDither`.
    ImageWriter(int fd, std::string fileName, DitherType masterDither, Exporter::ImageDigest digest);
    // Stops both threads, dropping what is still queued, and joins them.
    ~ImageWriter();
    ImageWriter(const ImageWriter&) = delete;
    ImageWriter& operator=(const ImageWriter&) = delete;

    // Queues a chunk, moving its audio out, and returns the bytes it will take in the image. Waits
    // while the queue is full. Throws the inner threads' ExportError ("Writing NAME failed: REASON")
    // once a write has failed.
    std::int64_t put(RenderChunk& chunk);
    // Waits until every queued chunk is written and stops the threads. Returns the lower-case
    // hexadecimal MD5 of all bytes (empty with ImageDigest::none); throws as put() does.
    std::string finish();

  private:
    struct Pending {
        RenderChunk chunk{RenderChunk::Silence{}};
        DitherType dither = DitherType::none;
    };
    // A block of image bytes in memory aligned for direct writes; made on first use.
    struct Block {
        struct Free {
            void operator()(char* p) const noexcept;
        };
        std::unique_ptr<char, Free> data;
        std::size_t size = 0;
    };
    struct Digest;

    void quantiseAll() noexcept;
    void writeAll() noexcept;
    void digestAll() noexcept;
    void writeBytes(const char* bytes, std::size_t size, bool& direct);
    void fail(std::exception_ptr failure) noexcept;
    [[noreturn]] void rethrowFailure();
    void stopAndJoin() noexcept;

    const int fd_;
    const std::string fileName_;
    const DitherType masterDither_;
    std::unique_ptr<Digest> digest_;
    detail::HandOff<Pending> chunks_;
    detail::HandOff<Block> bytes_;
    detail::HandOff<Block> digested_; // from the digest on to the writer; blocks are swapped, not copied
    std::mutex failureMutex_;
    std::exception_ptr failure_; // the first error of either thread
    std::thread quantiser_;
    std::thread writer_;
    std::thread digester_;
};

} // namespace orvane
