#include "jpeg_reader.hpp"

#include <csetjmp>
#include <cstdio>

// Needs <cstdio> ahead of it.
#include <jpeglib.h>

namespace elvantris::simulator {

namespace {

// The library leaves a failed call through here; nothing with a destructor may lie between.
struct failure_exit {
    jpeg_error_mgr manager; // must come first: the library hands out its address
    std::jmp_buf back;
    char message[JMSG_LENGTH_MAX];
};

void leave(j_common_ptr call) {
    auto* failure = reinterpret_cast<failure_exit*>(call->err);
    failure->manager.format_message(call, failure->message);
    std::longjmp(failure->back, 1); // NOLINT: the library's own way out
}

// A warning means damage; what is told about the trace of a good file has a level of 0 and more.
void take_message(j_common_ptr call, int level) {
    if (level < 0) leave(call);
}

jpeg_error_mgr* prepare(failure_exit& failure) {
    jpeg_std_error(&failure.manager);
    failure.manager.error_exit = leave;
    failure.manager.emit_message = take_message;
    return &failure.manager;
}

bool begin_reading(jpeg_decompress_struct& reader, failure_exit& failure, std::string_view bytes) {
    if (setjmp(failure.back) != 0) return false; // NOLINT
    jpeg_create_decompress(&reader);
    jpeg_mem_src(&reader, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    jpeg_read_header(&reader, TRUE);
    reader.out_color_space = JCS_RGB;
    jpeg_start_decompress(&reader);
    return true;
}

bool read_rows(jpeg_decompress_struct& reader, failure_exit& failure, colour* pixels) {
    if (setjmp(failure.back) != 0) return false; // NOLINT
    while (reader.output_scanline < reader.output_height) {
        auto* row = reinterpret_cast<unsigned char*>(
            pixels + static_cast<std::size_t>(reader.output_scanline) * reader.output_width);
        jpeg_read_scanlines(&reader, &row, 1);
    }
    jpeg_finish_decompress(&reader);
    return true;
}

} // namespace

picture from_jpeg(std::string_view bytes) {
    jpeg_decompress_struct reader{};
    failure_exit failure{};
    reader.err = prepare(failure);
    if (!begin_reading(reader, failure, bytes)) {
        jpeg_destroy_decompress(&reader);
        throw picture_error(failure.message);
    }
    picture result(static_cast<int>(reader.output_width), static_cast<int>(reader.output_height));
    const bool complete = read_rows(reader, failure, &result.at(0, 0));
    jpeg_destroy_decompress(&reader);
    if (!complete) throw picture_error(failure.message);
    return result;
}

} // namespace elvantris::simulator
