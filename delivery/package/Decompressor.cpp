#include "delivery/package/Decompressor.h"

#include <lzma.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <bit>
#include <memory>
#include <new>

namespace delivery {

namespace {

// What liblzma's decoders need beside the window.
constexpr std::uint64_t kBesideWindow = 1 << 20;

// Not filled with zeros before it is written to.
using Buffer = std::unique_ptr<std::uint8_t[]>;

class LzmaDecompressor final : public Decompressor {
public:
    LzmaDecompressor(Compression compression, std::uint64_t maxWindow) {
        const std::uint64_t limit = maxWindow + kBesideWindow;
        const lzma_ret made = compression == Compression::Xz ? lzma_stream_decoder(&m_stream, limit, LZMA_CONCATENATED)
                              : compression == Compression::Lzip
                                  ? lzma_lzip_decoder(&m_stream, limit, LZMA_CONCATENATED)
                                  : lzma_alone_decoder(&m_stream, limit);
        if (made != LZMA_OK) {
            throw std::bad_alloc();
        }
    }
    ~LzmaDecompressor() override {
        lzma_end(&m_stream);
    }
    LzmaDecompressor(const LzmaDecompressor &) = delete;
    LzmaDecompressor &operator=(const LzmaDecompressor &) = delete;

    Result Run(std::string_view &in, bool last, std::string_view &out) override {
        out = {};
        if (m_ended) {
            in = {};
            return Result::More;
        }
        m_stream.next_in = reinterpret_cast<const std::uint8_t *>(in.data());
        m_stream.avail_in = in.size();
        m_stream.next_out = m_out.get();
        m_stream.avail_out = kOut;
        const lzma_ret result = lzma_code(&m_stream, last ? LZMA_FINISH : LZMA_RUN);
        in.remove_prefix(in.size() - m_stream.avail_in);
        out = {reinterpret_cast<const char *>(m_out.get()), kOut - m_stream.avail_out};
        m_ended = result == LZMA_STREAM_END;
        switch (result) {
        case LZMA_OK:
        case LZMA_STREAM_END:
            return Result::More;
        case LZMA_MEMLIMIT_ERROR:
            return Result::TooLarge;
        case LZMA_MEM_ERROR:
            return Result::NoMemory;
        default:
            return Result::Damaged;
        }
    }

private:
    lzma_stream m_stream = LZMA_STREAM_INIT;
    const Buffer m_out = std::make_unique_for_overwrite<std::uint8_t[]>(kOut);
    bool m_ended = false;
};

class ZstdDecompressor final : public Decompressor {
public:
    explicit ZstdDecompressor(std::uint64_t maxWindow) : m_stream(ZSTD_createDCtx()) {
        const int log = static_cast<int>(std::bit_width(maxWindow)) - 1;
        if (!m_stream || ZSTD_isError(ZSTD_DCtx_setParameter(m_stream.get(), ZSTD_d_windowLogMax, log))) {
            throw std::bad_alloc();
        }
    }

    Result Run(std::string_view &in, bool last, std::string_view &out) override {
        ZSTD_inBuffer from{in.data(), in.size(), 0};
        ZSTD_outBuffer to{m_out.get(), kOut, 0};
        const std::size_t result = ZSTD_decompressStream(m_stream.get(), &to, &from);
        in.remove_prefix(from.pos);
        out = {reinterpret_cast<const char *>(m_out.get()), to.pos};
        if (!ZSTD_isError(result)) {
            const bool wantsMore = m_betweenFrames ? from.pos > 0 || to.pos > 0 : true;
            m_betweenFrames = result == 0 || !wantsMore;
            return last && out.empty() && !m_betweenFrames ? Result::Damaged : Result::More;
        }
        switch (ZSTD_getErrorCode(result)) {
        case ZSTD_error_frameParameter_windowTooLarge:
            return Result::TooLarge;
        case ZSTD_error_memory_allocation:
            return Result::NoMemory;
        default:
            return Result::Damaged;
        }
    }

private:
    struct Free {
        void operator()(ZSTD_DCtx *stream) const {
            ZSTD_freeDCtx(stream);
        }
    };
    const Buffer m_out = std::make_unique_for_overwrite<std::uint8_t[]>(kOut);
    std::unique_ptr<ZSTD_DCtx, Free> m_stream;
    bool m_betweenFrames = true;
};

} // namespace

std::unique_ptr<Decompressor> Decompressor::Make(Compression compression, std::uint64_t maxWindow) {
    switch (compression) {
    case Compression::Xz:
    case Compression::Lzip:
    case Compression::Lzma:
        return std::make_unique<LzmaDecompressor>(compression, maxWindow);
    case Compression::Zstd:
        return std::make_unique<ZstdDecompressor>(maxWindow);
    default:
        return nullptr;
    }
}

} // namespace delivery
