#include "tool/zip_archive.hpp"

#include <minizip/zip.h>

#include <algorithm>
#include <charconv>
#include <new>
#include <string_view>

namespace elvantris::operator_control {
namespace {

// What the library takes for a file: it goes back to fill in the lengths of an entry.
struct memory_file {
    std::string bytes;
    std::size_t place = 0;
};

memory_file& file_of(voidpf opaque) {
    return *static_cast<memory_file*>(opaque);
}

uLong write_bytes(voidpf opaque, voidpf /*stream*/, const void* buffer, uLong size) noexcept {
    memory_file& file = file_of(opaque);
    try {
        file.bytes.resize(std::max<std::size_t>(file.bytes.size(), file.place + size));
    } catch (const std::exception&) {
        return 0; // no exception may pass the library
    }
    file.bytes.replace(file.place, size, static_cast<const char*>(buffer), size);
    file.place += size;
    return size;
}

long seek_place(voidpf opaque, voidpf /*stream*/, ZPOS64_T offset, int origin) noexcept {
    memory_file& file = file_of(opaque);
    std::size_t place = static_cast<std::size_t>(offset);
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) place += file.place;
    if (origin == ZLIB_FILEFUNC_SEEK_END) place += file.bytes.size();
    if (place > file.bytes.size()) return -1;
    file.place = place;
    return 0;
}

zlib_filefunc64_def calls_for(memory_file& file) {
    return {.zopen64_file = [](voidpf opaque, const void*, int) { return opaque; },
            .zread_file = [](voidpf, voidpf, void*, uLong) { return uLong{0}; },
            .zwrite_file = write_bytes,
            .ztell64_file = [](voidpf opaque, voidpf) { return ZPOS64_T{file_of(opaque).place}; },
            .zseek64_file = seek_place,
            .zclose_file = [](voidpf, voidpf) { return 0; },
            .zerror_file = [](voidpf, voidpf) { return 0; },
            .opaque = &file};
}

unsigned number_at(std::string_view text, std::size_t place, std::size_t digits) {
    unsigned number = 0;
    if (place + digits <= text.size())
        std::from_chars(text.data() + place, text.data() + place + digits, number);
    return number;
}

zip_fileinfo details_of(std::string_view date, std::string_view clock) {
    zip_fileinfo details{};
    details.tmz_date.tm_year = number_at(date, 0, 4);
    details.tmz_date.tm_mon = std::max(number_at(date, 5, 2), 1U) - 1;
    details.tmz_date.tm_mday = number_at(date, 8, 2);
    details.tmz_date.tm_hour = number_at(clock, 0, 2);
    details.tmz_date.tm_min = number_at(clock, 3, 2);
    details.tmz_date.tm_sec = number_at(clock, 6, 2);
    return details;
}

bool add_entry(zipFile zip, const zip_entry& entry, const zip_fileinfo& details) {
    return zipOpenNewFileInZip64(zip, entry.name.c_str(), &details, nullptr, 0, nullptr, 0, nullptr,
                                 Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0) == ZIP_OK &&
           zipWriteInFileInZip(zip, entry.bytes.data(),
                               static_cast<unsigned>(entry.bytes.size())) == ZIP_OK &&
           zipCloseFileInZip(zip) == ZIP_OK;
}

} // namespace

std::optional<std::string> write_zip(const std::vector<zip_entry>& entries, const std::string& date,
                                     const std::string& clock) {
    memory_file file;
    zlib_filefunc64_def calls = calls_for(file);
    zipFile const zip = zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &calls);
    if (zip == nullptr) return std::nullopt;
    const zip_fileinfo details = details_of(date, clock);
    const bool added = std::ranges::all_of(
        entries, [&](const zip_entry& entry) { return add_entry(zip, entry, details); });
    const bool closed = zipClose(zip, nullptr) == ZIP_OK;
    if (!added || !closed) return std::nullopt;
    return std::move(file.bytes);
}

} // namespace elvantris::operator_control
