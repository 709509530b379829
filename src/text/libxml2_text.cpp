#include "text/libxml2_text.hpp"

#include "host/error.hpp"

#include <algorithm>

namespace pkg_dbe_xml {

extern "C" int receive_from_libxml2(void *receiver, const char *bytes, int size) noexcept {
    // libxml2 hands over a long value as one.
    constexpr std::size_t k_piece = std::size_t{1} << 20U;
    auto *const own = static_cast<libxml2_receiver *>(receiver);
    try {
        std::string_view rest(bytes, static_cast<std::size_t>(size));
        do {
            host::check_for_interrupts();
            own->output.append(rest.substr(0, k_piece));
            rest.remove_prefix(std::min(rest.size(), k_piece));
        } while (!rest.empty());
        return size;
    } catch (...) {
        own->failure = std::current_exception();
        return -1;
    }
}

void append_node_from_libxml2(text_output &output, const xmlNode *node, bool indented) {
    append_from_libxml2(output, [node, indented](xmlOutputBufferPtr buffer) {
        xmlNodeDumpOutput(buffer, node->doc, const_cast<xmlNodePtr>(node), 0, indented ? 1 : 0,
                          nullptr);
        xmlOutputBufferClose(buffer);
    });
}

void append_declarations(text_output &output, const xmlNode *document_type) {
    for (const xmlNode *member = document_type->children; member != nullptr;
         member = member->next) {
        append_node_from_libxml2(output, member, false);
        if (member->type == XML_COMMENT_NODE || member->type == XML_PI_NODE) {
            output.append("\n");
        }
    }
}

} // namespace pkg_dbe_xml
