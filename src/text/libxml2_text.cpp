#include "text/libxml2_text.hpp"

#include "host/error.hpp"

namespace pkg_dbe_xml {

extern "C" int receive_from_libxml2(void *receiver, const char *bytes, int size) noexcept {
    auto *const own = static_cast<libxml2_receiver *>(receiver);
    try {
        host::check_for_interrupts();
        own->output.append({bytes, static_cast<std::size_t>(size)});
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
