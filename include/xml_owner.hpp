// Owners of libxml2 objects: what a call has made and not yet handed over is freed with the call.
#pragma once

#include <libxml/list.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>

namespace pkg_dbe_xml {

struct xml_deleter {
    void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
    // A node that stands in no tree, with all below it. Attributes too.
    void operator()(xmlNode *node) const noexcept { xmlFreeNode(node); }
    void operator()(xmlNs *record) const noexcept { xmlFreeNs(record); }
    void operator()(xmlList *list) const noexcept { xmlListDelete(list); }
    void operator()(xmlBuffer *buffer) const noexcept { xmlBufferFree(buffer); }
    void operator()(xmlParserCtxt *context) const noexcept { xmlFreeParserCtxt(context); }
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};

using xml_doc_ptr = std::unique_ptr<xmlDoc, xml_deleter>;
using xml_node_ptr = std::unique_ptr<xmlNode, xml_deleter>;
using xml_ns_ptr = std::unique_ptr<xmlNs, xml_deleter>;
using xml_list_ptr = std::unique_ptr<xmlList, xml_deleter>;
using xml_buffer_ptr = std::unique_ptr<xmlBuffer, xml_deleter>;
using xml_parser_ctxt_ptr = std::unique_ptr<xmlParserCtxt, xml_deleter>;
using xml_text_ptr = std::unique_ptr<xmlChar, xml_deleter>;

} // namespace pkg_dbe_xml
