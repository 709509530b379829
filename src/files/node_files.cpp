// Documents and nodes into files. See node_files.hpp.

#include "files/node_files.hpp"

#include "files/file_paths.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"
#include "tree/node_text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// The operating system's words about a file, for CONTEXT.
class file_context {
  public:
    file_context(const char *path, int reason) noexcept {
        const int length =
            std::snprintf(bytes_, sizeof bytes_, "file \"%s\": %s", path, std::strerror(reason));
        size_ = std::min(static_cast<std::size_t>(length), sizeof bytes_ - 1);
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }

  private:
    char bytes_[5120];
    std::size_t size_;
};

// Ends the statement for what went wrong in the writing: a request to stop, memory, the file.
[[noreturn]] void fail_writing(const char *path, int reason, bool out_of_memory) {
    host::check_for_interrupts();
    if (out_of_memory) {
        report(reports::out_of_memory);
    }
    if (reason == 0) {
        report(reports::write_failed);
    }
    report(reports::write_failed, {}, {}, file_context(path, reason).view());
}

// Makes a written file take its place.
void finish_file(file_ptr file, const char *path) {
    host::check_for_interrupts();
    if (!host::close_output_file(file.release())) {
        fail_writing(path, errno, false);
    }
}

} // namespace

host_text checked_path(char *input) {
    char *directory = nullptr;
    char *file_part = nullptr;
    check_and_get_input_path(input, directory, file_part);
    const host_text directory_name(directory);
    host_text path(check_safe_path(directory, file_part));
    check_copy_file_permission(path.get());
    return path;
}

file_ptr open_file(const char *path) {
    file_ptr file(host::open_output_file(path));
    if (file == nullptr) {
        const int reason = errno;
        const file_context context(path, reason);
        errno = reason;
        report(reports::file_not_opened, {path}, {}, context.view());
    }
    return file;
}

void give_file_up(file_ptr file, const report_row &row) {
    host::leave_created_file(file.release());
    report(row);
}

void save_document(const char *path, xmlDocPtr document, const char *encoding) {
    const char *name =
        encoding != nullptr ? encoding : reinterpret_cast<const char *>(document->encoding);
    file_ptr file;
    const dump_result result = dump_document(path, document, name, file);
    if (!result.done || result.out_of_memory) {
        file.reset();
        fail_writing(path, result.reason, result.out_of_memory);
    }
    finish_file(std::move(file), path);
}

void save_value(file_ptr file, const char *path, xmlNodePtr attribute) {
    text_room room;
    const text_piece value = node_text(attribute, room);
    file_sink sink{file.get()};
    if (value.size != 0 && !sink.write(value.bytes, value.size)) {
        file.reset();
        fail_writing(path, sink.reason, false);
    }
    finish_file(std::move(file), path);
}

void save_markup(file_ptr file, const char *path, xmlNodePtr node, const char *character_set) {
    dump_result result{};
    {
        const host::xml_scope scope;
        encoding_handler_ptr handler(character_set != nullptr ? find_encoding_handler(character_set)
                                                              : nullptr);
        if (character_set != nullptr && handler == nullptr && !scope.refused()) {
            give_file_up(std::move(file), reports::unsupported_character_set);
        }
        if (!scope.refused()) {
            xmlInitParser();
            result = xml_elem_dump(file.get(), node->doc, node, character_set, handler.release());
        }
        result.out_of_memory = scope.refused();
    }
    if (!result.done || result.out_of_memory) {
        file.reset();
        fail_writing(path, result.reason, result.out_of_memory);
    }
    finish_file(std::move(file), path);
}

} // namespace pkg_dbe_xml
