/* The yardstick of bench/streams/run: records cut out of a file by libxml2's push parser alone, without
 * bounds, checks or server. Each record becomes a document of its own and is freed.
 *
 * usage: plain FILE RECORD_NAME      prints records and seconds */
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>

#include <stdio.h>
#include <string.h>
#include <time.h>

static const char *record_name;
static int depth, record_depth;
static long records;
static long texts; /* keeps the reading below from being left out */

static void start(void *data, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                  int namespace_count, const xmlChar **namespaces, int attribute_count,
                  int defaulted, const xmlChar **attributes) {
    ++depth;
    if (record_depth == 0) {
        if (depth < 2 || strcmp((const char *)name, record_name) != 0) {
            return;
        }
        record_depth = depth;
    }
    xmlSAX2StartElementNs(data, name, prefix, uri, namespace_count, namespaces, attribute_count,
                          defaulted, attributes);
}

static void set_document(xmlNodePtr node, xmlDocPtr document) {
    xmlNodePtr const top = node;
    while (node != NULL) {
        node->doc = document;
        if (node->type == XML_ELEMENT_NODE) {
            for (xmlAttrPtr each = node->properties; each != NULL; each = each->next) {
                each->doc = document;
                if (each->children != NULL) {
                    each->children->doc = document;
                }
            }
            if (node->children != NULL) {
                node = node->children;
                continue;
            }
        }
        while (node != top && node->next == NULL) {
            node = node->parent;
        }
        node = node == top ? NULL : node->next;
    }
}

static void cut(xmlParserCtxtPtr context, xmlNodePtr top) {
    xmlDocPtr const document = xmlNewDoc(NULL);
    document->dict = context->dict;
    xmlDictReference(context->dict);
    xmlUnlinkNode(top);
    top->parent = (xmlNodePtr)document;
    document->children = document->last = top;
    set_document(top, document);
    context->nodelen = context->nodemem = 0;
    ++records;
    texts += top->children != NULL;
    xmlFreeDoc(document);
}

static void end(void *data, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri) {
    xmlParserCtxtPtr const context = data;
    if (record_depth != 0) {
        xmlNodePtr const node = context->node;
        xmlSAX2EndElementNs(data, name, prefix, uri);
        if (depth == record_depth) {
            record_depth = 0;
            cut(context, node);
        }
    }
    --depth;
}

int main(int count, char **arguments) {
    static char bytes[32768];
    if (count != 3) {
        return 2;
    }
    FILE *const file = fopen(arguments[1], "rb");
    record_name = arguments[2];
    xmlParserCtxtPtr const context = xmlCreatePushParserCtxt(NULL, NULL, NULL, 0, NULL);
    if (file == NULL || context == NULL) {
        return 2;
    }
    xmlCtxtUseOptions(context, XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE);
    context->sax->startElementNs = start;
    context->sax->endElementNs = end;
    struct timespec begin, stop;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    size_t size;
    while ((size = fread(bytes, 1, sizeof bytes, file)) != 0) {
        if (xmlParseChunk(context, bytes, (int)size, 0) != 0) {
            return 1;
        }
    }
    xmlParseChunk(context, NULL, 0, 1);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &stop);
    printf("%ld %.3f\n", records,
           (double)(stop.tv_sec - begin.tv_sec) + (double)(stop.tv_nsec - begin.tv_nsec) / 1e9);
    xmlFreeDoc(context->myDoc);
    xmlFreeParserCtxt(context);
    return texts == 0;
}
