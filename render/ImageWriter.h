#pragma once
// Quantises and writes a disc image on threads of its own, so that the render, the dither, the disk
// and the image's MD5 overlap: the render hands over float chunks, a quantiser thread turns them into
// 16-bit bytes in order, a writer thread writes those, and a digest thread (when a digest is asked
// for) feeds them to the running MD5, which is serial by nature and as slow as the rest together.
// Every member is called by the one thread that made the object; the inner threads never outlive it.
// Memory is a few chunks, however long the image.
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
    struct Digest;

    void quantiseAll() noexcept;
    void writeAll() noexcept;
    void digestAll() noexcept;
    void writeBytes(const std::string& bytes);
    void fail(std::exception_ptr failure) noexcept;
    [[noreturn]] void rethrowFailure();
    void stopAndJoin() noexcept;

    const int fd_;
    const std::string fileName_;
    const DitherType masterDither_;
    std::unique_ptr<Digest> digest_;
    detail::HandOff<Pending> chunks_;
    detail::HandOff<std::string> bytes_;
    detail::HandOff<std::string> written_; // on to the digest; buffers are swapped, not copied
    std::mutex failureMutex_;
    std::exception_ptr failure_; // the first error of either thread
    std::thread quantiser_;
    std::thread writer_;
    std::thread digester_;
};

} // namespace orvane
