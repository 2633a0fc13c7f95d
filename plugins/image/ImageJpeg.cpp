// ImageJpeg.cpp: reading of JPEG through libjpeg-turbo.
#include "ImageDecoderInternal.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <jerror.h>
#include <jpeglib.h>

namespace qk3d::image {
namespace {
// Progressive files may repeat scans without end; one that needs more than this is made to keep us busy.
constexpr int kMaxScans = 500;

// The library's own error handler ends the process, so ours jumps out instead. The jump passes frames of the library
// and of functions with plain locals only; what they fill belongs to their caller.
struct Job {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf escape{};
    char message[JMSG_LENGTH_MAX] = "";
};

[[noreturn]] void OnError(j_common_ptr info) {
    auto* job = static_cast<Job*>(info->client_data);
    info->err->format_message(info, job->message);
    std::longjmp(job->escape, 1);
}

// Damage that the library would paint over in grey is an error to us; oddities that cost no pixel are not.
void OnMessage(j_common_ptr info, int level) {
    if (level >= 0) return;
    switch (info->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_ADOBE_XFORM:
    case JWRN_JFIF_MAJOR:
    case JWRN_BOGUS_PROGRESSION: return;
    default: OnError(info);
    }
}

void OnProgress(j_common_ptr info) {
    auto* job = static_cast<Job*>(info->client_data);
    if (!info->is_decompressor || job->info.input_scan_number <= kMaxScans) return;
    std::snprintf(job->message, sizeof(job->message), "more than %d scans", kMaxScans);
    std::longjmp(job->escape, 1);
}

bool ReadHeader(Job& job, Bytes const& file) {
    if (setjmp(job.escape)) return false;
    jpeg_create_decompress(&job.info);
    jpeg_mem_src(&job.info, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&job.info, TRUE);
    return true;
}

bool Start(Job& job) {
    if (setjmp(job.escape)) return false;
    job.info.progress = &job.progress;
    switch (job.info.jpeg_color_space) {
    case JCS_GRAYSCALE: job.info.out_color_space = JCS_GRAYSCALE; break;
    case JCS_CMYK:
    case JCS_YCCK: job.info.out_color_space = JCS_CMYK; break;
    default: job.info.out_color_space = JCS_EXT_BGRA; // the fourth byte is 255
    }
    jpeg_start_decompress(&job.info);
    return true;
}

bool ReadRows(Job& job, std::uint8_t* first, std::size_t pitch) {
    if (setjmp(job.escape)) return false;
    while (job.info.output_scanline < job.info.output_height) {
        JSAMPROW row = first + job.info.output_scanline * pitch;
        jpeg_read_scanlines(&job.info, &row, 1);
    }
    jpeg_finish_decompress(&job.info);
    return true;
}

// Ink to light. Files by Adobe's programs store the ink inverted.
void CmykToArgb(std::vector<std::uint8_t>& bytes, bool inverted) {
    for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
        std::uint8_t ink[4];
        for (int c = 0; c < 4; ++c) ink[c] = inverted ? bytes[i + c] : static_cast<std::uint8_t>(255 - bytes[i + c]);
        for (int c = 0; c < 3; ++c) bytes[i + 2 - c] = static_cast<std::uint8_t>((ink[c] * ink[3] + 127) / 255);
        bytes[i + 3] = 255;
    }
}

struct Guard {
    Job& job;
    ~Guard() { jpeg_destroy_decompress(&job.info); }
};
} // namespace

bool DecodeJpeg(Bytes file, DecodedImage& out, std::string& reason) {
    Job job;
    job.info.err = jpeg_std_error(&job.errors);
    job.info.client_data = &job;
    job.errors.error_exit = OnError;
    job.errors.emit_message = OnMessage;
    job.progress.progress_monitor = OnProgress;
    Guard const guard{job};
    auto const fail = [&] {
        reason = std::string("JPEG: ") + job.message;
        return false;
    };
    if (!ReadHeader(job, file)) return fail();

    if (!IsSizeAllowed(job.info.image_width, job.info.image_height, 4, reason)) return false;
    // A block of 64 samples takes one bit at least, and sampling can spread it over 16 times as many pixels.
    if (std::uint64_t{job.info.image_width} * job.info.image_height / (8 * 64 * 16) > file.size()) {
        reason = "JPEG: the file is too short for its size";
        return false;
    }
    if (!Start(job)) return fail();

    out.width = job.info.output_width;
    out.height = job.info.output_height;
    out.format = job.info.out_color_space == JCS_GRAYSCALE ? PF_L8 : PF_X8R8G8B8;
    out.bytes.resize(LayOutLevels(out, 1, static_cast<std::size_t>(job.info.output_components)));
    if (!ReadRows(job, out.bytes.data(), out.levels[0].pitch)) return fail();
    if (job.info.out_color_space == JCS_CMYK) CmykToArgb(out.bytes, job.info.saw_Adobe_marker);
    return true;
}
} // namespace qk3d::image
