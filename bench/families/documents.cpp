// Documents and parser objects: made, parsed, given back.
#include "support.hpp"

namespace bench {

namespace {

constexpr const char *k_valid = "<!DOCTYPE orders [<!ELEMENT orders (order*)>"
                                "<!ELEMENT order (#PCDATA)><!ATTLIST order id CDATA #REQUIRED>]>"
                                "<orders><order id=\"1\">Article</order></orders>";

void enter_parse(const char *name, int records) {
    pair(
        {"documents", name, 2, records},
        [](session &s) {
            return
                [&s] { s.release_document(s.call(xml_dom_new_document_clob, {s.content_value})); };
        },
        [](bare &b) { return [&b] { xmlFreeDoc(bare::parsed(b.content)); }; });
}

void enter_declarations() {
    pair(
        {"documents", "set_charset"},
        [](session &s) {
            return [&s, charset = s.text("ISO-8859-1")] {
                s.call(xml_dom_set_charset, {s.document, charset});
            };
        },
        [](bare &b) {
            return [&b] {
                xmlFree(const_cast<xmlChar *>(b.document->encoding));
                b.document->encoding = xmlStrdup(bytes("ISO-8859-1"));
            };
        });
    pair(
        {"documents", "set_doctype"},
        [](session &s) {
            return [&s, name = s.text("orders"), system = s.text("orders.dtd"),
                    publicly = s.text("-//EXAMPLE//DTD Orders//EN")] {
                s.call(xml_dom_set_doctype, {s.document, name, system, publicly});
            };
        },
        [](bare &b) {
            return [&b] {
                if (xmlDtdPtr const old = xmlGetIntSubset(b.document)) {
                    xmlUnlinkNode(reinterpret_cast<xmlNodePtr>(old));
                    xmlFreeDtd(old);
                }
                xmlCreateIntSubset(b.document, bytes("orders"), bytes("-//EXAMPLE//DTD Orders//EN"),
                                   bytes("orders.dtd"));
            };
        });
}

// A parser object that parses `content` again and again; on the other side one context.
void enter_parse_with_parser(const char *name, host::standalone::function_entry parse,
                             const std::string &content, bool validates) {
    pair(
        {"parsers", name, 3, 1},
        [=](session &s) {
            const host::datum parser = s.call(xmlparser_new_parser, {});
            s.call(xmlparser_set_validation_mode, {parser, host::from_boolean(validates)});
            return [&s, parser, parse, value = s.text(content)] {
                s.call(parse, {parser, value});
                s.release_document(s.call(xmlparser_get_doc, {parser}));
            };
        },
        [=](bare &) {
            xmlParserCtxtPtr context = xmlNewParserCtxt();
            const int options = validates ? k_options | XML_PARSE_DTDVALID : k_options;
            return [context, content, options] {
                xmlFreeDoc(xmlCtxtReadMemory(context, content.data(),
                                             static_cast<int>(content.size()), nullptr, "UTF-8",
                                             options));
            };
        });
}

} // namespace

void enter_documents() {
    pair(
        {"documents", "new_document_empty, free", 2},
        [](session &s) {
            return [&s] { s.release_document(s.call(xml_dom_new_document_empty, {})); };
        },
        [](bare &) { return [] { xmlFreeDoc(xmlNewDoc(bytes("1.0"))); }; });
    enter_parse("new_document_clob, free: 300 B", 1);
    enter_parse("new_document_clob, free: 10 kB", k_small);
    enter_parse("new_document_clob, free: 1 MB", k_large);
    pair(
        {"documents", "new_document_xmltype, free: 10 kB", 2},
        [](session &s) {
            return [&s] {
                s.release_document(s.call(xml_dom_new_document_xmltype, {s.content_value}));
            };
        },
        [](bare &b) { return [&b] { xmlFreeDoc(bare::parsed(b.content)); }; });
    enter_declarations();
}

void enter_parsers() {
    pair(
        {"parsers", "new_parser, free", 2},
        [](session &s) {
            return [&s] {
                const host::datum parser = s.call(xmlparser_new_parser, {});
                s.call(xmlparser_free_parser, {parser});
                s.drop(parser);
            };
        },
        [](bare &) { return [] { xmlFreeParserCtxt(xmlNewParserCtxt()); }; });
    enter_parse_with_parser("parse_clob, get_doc, free: 10 kB", xmlparser_parse_clob,
                            orders(k_small), false);
    enter_parse_with_parser("parse_clob, get_doc, free: 1 MB", xmlparser_parse_clob,
                            orders(k_large), false);
    enter_parse_with_parser("parse_buffer, get_doc, free: 10 kB", xmlparser_parse_buffer,
                            orders(k_small), false);
    enter_parse_with_parser("parse_buffer validating, get_doc, free", xmlparser_parse_buffer,
                            k_valid, true);
    pair(
        {"parsers", "set_validation_mode, get_validation_mode", 2},
        [](session &s) {
            return [&s, parser = s.call(xmlparser_new_parser, {})] {
                s.call(xmlparser_set_validation_mode, {parser, host::from_boolean(true)});
                benchmark::DoNotOptimize(s.call(xmlparser_get_validation_mode, {parser}));
            };
        },
        [](bare &) {
            return [context = xmlNewParserCtxt()] {
                xmlCtxtUseOptions(context, k_options | XML_PARSE_DTDVALID);
                benchmark::DoNotOptimize(context->options);
            };
        });
}

} // namespace bench
