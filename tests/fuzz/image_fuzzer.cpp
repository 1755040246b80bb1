// Loads any bytes as a stream image.  What is refused leaves no stream; what isn't can be drawn
// from, moved, copied, saved and loaded again, and its twin stays its twin.
//
// For libFuzzer (scripts/fuzz.sh), or for mutate.cpp where there is none.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "../library/every_kernel.h"
#include "korvan/random.h"

using korvan::testing::Bytes;

namespace {

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "image_fuzzer: %s\n", what);
    std::abort();
}

class Stream {
  public:
    static Stream load(const std::uint8_t* data, std::size_t size) {
        static const int descriptor = memfd_create("image", 0);
        static const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
        require(ftruncate(descriptor, 0) == 0 &&
                    pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size),
                "the file can't be written");
        Stream stream;
        const std::int32_t status = vslLoadStreamF(&stream.handle_, name.c_str());
        require((status == RNG_OK) == (stream.handle_ != nullptr), "status and stream disagree");
        return stream;
    }
    static Stream load(const Bytes& image) {
        Stream stream;
        require(vslLoadStreamM(&stream.handle_, image.data()) == RNG_OK,
                "its own image is refused");
        return stream;
    }
    Stream copy() const {
        Stream twin;
        require(vslCopyStream(&twin.handle_, handle_) == RNG_OK, "it can't be copied");
        return twin;
    }

    Stream(Stream&& other) : handle_(other.handle_) { other.handle_ = nullptr; }
    ~Stream() {
        if (handle_) vslDeleteStream(&handle_);
    }

    operator StreamHandle() const { return handle_; }
    bool isThere() const { return handle_ != nullptr; }

    Bytes image() const {
        Bytes bytes(static_cast<std::size_t>(vslGetStreamSize(handle_)));
        require(vslSaveStreamM(handle_, bytes.data()) == RNG_OK, "it can't be saved");
        return bytes;
    }

  private:
    Stream() = default;

    StreamHandle handle_ = nullptr;
};

// Draws, partitions and draws again; the statuses of the partition count as drawn.
Bytes use(StreamHandle stream) {
    Bytes drawn;
    for (const std::int32_t n : {1, 7, 70}) {
        const Bytes part = korvan::testing::drawWithEverything(stream, n);
        drawn.insert(drawn.end(), part.begin(), part.end());
    }
    for (const std::int32_t status :
         {vslSkipAheadStream(stream, 1), vslSkipAheadStream(stream, 5000),
          vslLeapfrogStream(stream, 1, 3)}) {
        drawn.push_back(static_cast<char>(status));
    }
    const Bytes last = korvan::testing::drawWithEverything(stream, 70);
    drawn.insert(drawn.end(), last.begin(), last.end());
    return drawn;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Refused calls are reported there.
    require(std::freopen("/dev/null", "w", stdout) != nullptr, "no /dev/null");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Stream stream = Stream::load(data, size);
    if (!stream.isThere()) return 0;
    const Bytes image = stream.image();
    const Stream second = Stream::load(image), third = Stream::load(second.image());
    require(third.image() == image, "two loads change the image");  // one turns the list round
    const Stream twin = stream.copy();
    const Bytes drawn = use(stream);
    if (vslGetStreamStateBrng(stream) == GEN_NONDETERMINISTIC) return 0;
    require(use(second) == drawn && use(twin) == drawn, "twins differ");
    require(third.image() == image, "drawing from one stream moves another");
    return 0;
}
