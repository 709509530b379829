#include "support.hpp"

namespace bench {

std::string orders(int records) {
    std::string text = "<?xml version=\"1.0\"?><orders xmlns:x=\"urn:example:orders\">";
    for (int number = 0; number < records; ++number) {
        const std::string digits = std::to_string(number);
        text += "<order id=\"" + digits + "\" x:state=\"open\"><customer>Customer " + digits +
                " &amp; Sons</customer><date>2026-01-02</date><item>Article number " + digits +
                "</item><quantity>3</quantity><price>12.50</price>"
                "<x:note>To be delivered to the gate</x:note></order>";
    }
    return text + "</orders>";
}

std::vector<std::string> &pairs() {
    static std::vector<std::string> names;
    return names;
}

session::session(int records) : content(orders(records)) {
    host::standalone::begin_session("UTF8");
    content_value = text(content);
    document = call(xml_dom_new_document_clob, {content_value});
    root = call(xml_dom_get_document_element, {document});
    order_node = call(xml_dom_get_first_child, {root});
    order = call(xml_dom_make_element, {order_node});
    customer = call(xml_dom_get_first_child, {order});
    customer_text = call(xml_dom_get_first_child, {customer});
    id = call(xml_dom_get_attribute_node, {order, text("id")});
}

session::~session() { host::standalone::end_session(); }

void session::fail() const {
    std::fprintf(stderr, "a call failed: %s %s\n", record_.report.message.c_str(),
                 record_.report.cause.c_str());
    std::abort();
}

bare::bare(int records)
    : content(orders(records)), document(parsed(content)), root(xmlDocGetRootElement(document)),
      order(root->children), customer(order->children), customer_text(customer->children),
      id(order->properties) {}

} // namespace bench
