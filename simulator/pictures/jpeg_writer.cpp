#include "jpeg_writer.hpp"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#define STBI_WRITE_NO_STDIO
#include <stb/stb_image_write.h>

namespace elvantris::simulator {

namespace {

void append(void* text, void* bytes, int size) {
    static_cast<std::string*>(text)->append(static_cast<const char*>(bytes),
                                            static_cast<std::size_t>(size));
}

} // namespace

std::string to_jpeg(const picture& source, int quality) {
    static_assert(sizeof(colour) == 3, "the pixels are the library's");
    std::string result;
    stbi_write_jpg_to_func(append, &result, source.width(), source.height(), 3, &source.at(0, 0),
                           quality);
    return result;
}

} // namespace elvantris::simulator
