// ImagePng.cpp: reading and writing of PNG through libpng.
#include "ImageDecoderInternal.h"

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstring>
#include <new>
#include <png.h>

namespace qk3d::image {
namespace {
// libpng reports an error by a jump. The jump must not pass a frame that has something to destroy, so each step that
// can fail is a function of its own with plain locals, and what it fills belongs to its caller.
struct Job {
    std::uint8_t const* data = nullptr;
    std::size_t left = 0;
    std::vector<std::uint8_t>* written = nullptr;
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[96] = "";
};

[[noreturn]] void OnError(png_structp png, char const* text) {
    auto* job = static_cast<Job*>(png_get_error_ptr(png));
    std::strncpy(job->message, text, sizeof(job->message) - 1);
    png_longjmp(png, 1);
}

void OnWarning(png_structp, char const*) {}

void OnRead(png_structp png, png_bytep to, std::size_t count) {
    auto* job = static_cast<Job*>(png_get_io_ptr(png));
    if (count > job->left) png_error(png, "the file ends too early");
    std::memcpy(to, job->data, count);
    job->data += count;
    job->left -= count;
}

void OnWrite(png_structp png, png_bytep from, std::size_t count) {
    auto* job = static_cast<Job*>(png_get_io_ptr(png));
    bool stored = true;
    try {
        job->written->insert(job->written->end(), from, from + count);
    } catch (std::bad_alloc const&) { stored = false; }
    if (!stored) png_error(png, "not enough memory");
}

struct ReaderGuard {
    Job& job;
    ~ReaderGuard() { png_destroy_read_struct(&job.png, &job.info, nullptr); }
};
struct WriterGuard {
    Job& job;
    ~WriterGuard() { png_destroy_write_struct(&job.png, &job.info); }
};

bool ReadHeader(Job& job) {
    if (setjmp(png_jmpbuf(job.png))) return false;
    png_set_user_limits(job.png, kMaxSide, kMaxSide);
    png_set_chunk_cache_max(job.png, 128);
    png_set_chunk_malloc_max(job.png, 8u << 20);
    png_set_read_fn(job.png, &job, OnRead);
    png_read_info(job.png, job.info);
    return true;
}

// Asks for whole bytes a channel, in the order of PF_A8R8G8B8.
bool SetTransforms(Job& job) {
    if (setjmp(png_jmpbuf(job.png))) return false;
    auto const type = png_get_color_type(job.png, job.info);
    bool const keyed = png_get_valid(job.png, job.info, PNG_INFO_tRNS) != 0;
    png_set_expand(job.png);
    if (png_get_bit_depth(job.png, job.info) == 16) {
        if (type == PNG_COLOR_TYPE_GRAY && !keyed) {
            if (std::endian::native == std::endian::little) png_set_swap(job.png);
        } else {
            png_set_scale_16(job.png);
        }
    }
    if (type & PNG_COLOR_MASK_COLOR) {
        png_set_bgr(job.png);
        if (!(type & PNG_COLOR_MASK_ALPHA) && !keyed) png_set_filler(job.png, 0xFF, PNG_FILLER_AFTER);
    }
    png_set_interlace_handling(job.png);
    png_read_update_info(job.png, job.info);
    return true;
}

bool ReadRows(Job& job, png_bytepp rows) {
    if (setjmp(png_jmpbuf(job.png))) return false;
    png_read_image(job.png, rows);
    png_read_end(job.png, nullptr);
    return true;
}

EPixelFormat FormatOf(Job const& job) {
    bool const alpha = (png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_ALPHA) != 0;
    if (png_get_color_type(job.png, job.info) & PNG_COLOR_MASK_COLOR) return alpha ? PF_A8R8G8B8 : PF_X8R8G8B8;
    if (alpha) return PF_BYTE_LA;
    return png_get_bit_depth(job.png, job.info) == 16 ? PF_L16 : PF_L8;
}

bool WriteImage(Job& job, unsigned int width, unsigned int height, EPixelFormat format, png_bytepp rows) {
    if (setjmp(png_jmpbuf(job.png))) return false;
    bool const alpha = format == PF_A8R8G8B8 || format == PF_A8B8G8R8;
    int const type = format == PF_L8 ? PNG_COLOR_TYPE_GRAY : alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
    png_set_write_fn(job.png, &job, OnWrite, nullptr);
    png_set_compression_level(job.png, 1); // three times as fast as the default, and the files are for a test's eyes
    png_set_IHDR(job.png, job.info, width, height, 8, type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(job.png, job.info);
    if (format == PF_A8R8G8B8 || format == PF_X8R8G8B8) png_set_bgr(job.png);
    if (type == PNG_COLOR_TYPE_RGB) png_set_filler(job.png, 0, PNG_FILLER_AFTER);
    png_write_image(job.png, rows);
    png_write_end(job.png, nullptr);
    return true;
}

std::vector<png_bytep> RowPointers(std::uint8_t* first, std::size_t pitch, unsigned int height) {
    std::vector<png_bytep> rows(height);
    for (unsigned int y = 0; y < height; ++y) rows[y] = first + y * pitch;
    return rows;
}
} // namespace

bool DecodePng(Bytes file, DecodedImage& out, std::string& reason) {
    Job job;
    job.data = file.data();
    job.left = file.size();
    ReaderGuard const guard{job};
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, OnError, OnWarning);
    if (job.png) job.info = png_create_info_struct(job.png);
    if (!job.info || !ReadHeader(job)) {
        reason = std::string("PNG: ") + job.message;
        return false;
    }

    std::uint64_t const width = png_get_image_width(job.png, job.info);
    std::uint64_t const height = png_get_image_height(job.png, job.info);
    if (!IsSizeAllowed(width, height, 4, reason)) return false;
    // Deflate makes at most 1032 bytes of one, so a short file with a large header lies.
    std::uint64_t const packed =
        width * height * png_get_bit_depth(job.png, job.info) * png_get_channels(job.png, job.info) / 8;
    if (packed / 1032 > file.size()) {
        reason = "PNG: the file is too short for its size";
        return false;
    }
    if (!SetTransforms(job)) {
        reason = std::string("PNG: ") + job.message;
        return false;
    }

    out.width = static_cast<unsigned int>(width);
    out.height = static_cast<unsigned int>(height);
    out.format = FormatOf(job);
    std::size_t const pitch = png_get_rowbytes(job.png, job.info);
    out.bytes.resize(LayOutLevels(out, 1, pitch / out.width));
    auto rows = RowPointers(out.bytes.data(), pitch, out.height);
    if (ReadRows(job, rows.data())) return true;
    reason = std::string("PNG: ") + job.message;
    return false;
}

bool EncodePng(void const* pixels, unsigned int width, unsigned int height, std::size_t pitch, EPixelFormat format,
               std::vector<std::uint8_t>& file) {
    file.clear();
    EPixelFormat const known[] = {PF_L8, PF_X8R8G8B8, PF_A8R8G8B8, PF_X8B8G8R8, PF_A8B8G8R8};
    std::size_t const pixelBytes = format == PF_L8 ? 1 : 4;
    if (std::find(std::begin(known), std::end(known), format) == std::end(known)) return false;
    if (!pixels || width == 0 || height == 0 || pitch < width * pixelBytes) return false;

    Job job;
    job.written = &file;
    WriterGuard const guard{job};
    job.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, OnError, OnWarning);
    if (job.png) job.info = png_create_info_struct(job.png);
    // libpng only reads the rows, though its interface does not say so.
    auto* const first = const_cast<std::uint8_t*>(static_cast<std::uint8_t const*>(pixels));
    auto rows = RowPointers(first, pitch, height);
    if (job.info && WriteImage(job, width, height, format, rows.data())) return true;
    file.clear();
    return false;
}
} // namespace qk3d::image
