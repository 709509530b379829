// Random schemas and documents. See support_schemas.hpp.
//
// They are made from rules: each has a letter and alternatives, and "%x" in an alternative stands
// for what the rule x makes. The last alternative of a rule leads to no deeper ones, or to few: it
// is taken when the input is used up, or the text is deep or long enough.
#include "support_schemas.hpp"

#include <span>
#include <string_view>

namespace fuzz {

namespace {

struct rule {
    char letter;
    std::string_view alternatives[14];
};

constexpr int k_deepest = 14;
constexpr std::size_t k_longest = 6000;

class maker {
  public:
    maker(choices &from, std::span<const rule> rules) noexcept : from_(from), rules_(rules) {}
    std::string make(char start) {
        expand(start, 0);
        return std::move(text_);
    }

  private:
    void expand(char letter, int depth) {
        for (const rule &one : rules_) {
            if (one.letter == letter) {
                write(chosen(one, depth), depth);
                return;
            }
        }
    }
    std::string_view chosen(const rule &one, int depth) noexcept {
        std::size_t count = 0;
        while (count < std::size(one.alternatives) && one.alternatives[count].data() != nullptr) {
            ++count;
        }
        const bool ends = from_.empty() || depth > k_deepest || text_.size() > k_longest;
        return one.alternatives[ends ? count - 1 : from_.below(count)];
    }
    void write(std::string_view alternative, int depth) {
        for (std::size_t place = 0; place < alternative.size(); ++place) {
            if (alternative[place] == '%') {
                expand(alternative[++place], depth + 1);
            } else {
                text_ += alternative[place];
            }
        }
    }

    choices &from_;
    std::span<const rule> rules_;
    std::string text_;
};

// s, p: schemas. t: declarations on top. e: an element's type. c: complex types. g: groups of
// elements. m: members of them. o: how often. a: attributes. b: built-in types. d: simple types.
// f: facets. k: keys. n: names. v: values.
constexpr rule k_xsd[] = {
    {'s',
     {"<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns='u' targetNamespace='u' "
      "elementFormDefault='qualified'>%t%t%t<xs:element name='a'%e</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:include schemaLocation='b.xsd'/>"
      "%t<xs:element name='a'%e</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:redefine schemaLocation='b.xsd'>"
      "<xs:simpleType name='s'><xs:restriction base='s'>%f</xs:restriction></xs:simpleType>"
      "</xs:redefine>%t<xs:element name='a'%e</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:u='u'><xs:import namespace='u' "
      "schemaLocation='b.xsd'/>%t<xs:element name='a'%e</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>%t%t%t%t<xs:element name='a'%e"
      "</xs:schema>"}},
    {'p',
     {"<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='u'>%t%t</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:include schemaLocation='a.xsd'/>"
      "%t</xs:schema>",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>%t%t<xs:simpleType name='s'>%d"
      "</xs:simpleType></xs:schema>"}},
    {'t',
     {"<xs:complexType name='t'>%g%a</xs:complexType>",
      "<xs:simpleType name='s'>%d</xs:simpleType>", "<xs:element name='%n'%e",
      "<xs:element name='c' substitutionGroup='b'/>", "<xs:element name='b' abstract='true'/>",
      "<xs:group name='g'>%g</xs:group>", "<xs:attributeGroup name='h'>%a%a</xs:attributeGroup>",
      "<xs:attribute name='x' type='%b'/>",
      "<xs:complexType name='w'><xs:complexContent><xs:%y base='t'>%g%a</xs:%y></xs:complexContent>"
      "</xs:complexType>",
      "<xs:notation name='n' public='n'/>", ""}},
    {'y', {"restriction", "extension"}},
    {'e',
     {"><xs:complexType mixed='true'>%g%a</xs:complexType></xs:element>",
      "><xs:complexType>%g%a%a</xs:complexType>%k</xs:element>",
      "><xs:simpleType>%d</xs:simpleType></xs:element>", " nillable='true' type='%b'/>",
      " default='%v' type='%b'/>", " fixed='%v'/>",
      "><xs:complexType><xs:simpleContent><xs:extension base='%b'>%a</xs:extension>"
      "</xs:simpleContent></xs:complexType></xs:element>",
      " type='t'/>", " type='w'/>", " type='s'/>", " type='%b'/>"}},
    {'g',
     {"<xs:sequence%o>%m%m</xs:sequence>", "<xs:sequence%o>%m%m%m%m</xs:sequence>",
      "<xs:choice%o>%m%m</xs:choice>", "<xs:choice%o>%m%m%m</xs:choice>", "<xs:all>%m%m</xs:all>",
      "<xs:group ref='g'%o/>", ""}},
    {'m',
     {"<xs:element name='%n'%o type='%b'/>", "<xs:element ref='%n'%o/>", "%g", "%g",
      "<xs:any%o processContents='%q'/>", "<xs:any%o namespace='##other' processContents='lax'/>",
      "<xs:element name='%n'%e", ""}},
    {'q', {"lax", "skip", "strict"}},
    {'o',
     {" minOccurs='0'", " maxOccurs='unbounded'", " minOccurs='0' maxOccurs='unbounded'",
      " minOccurs='2' maxOccurs='5'", " maxOccurs='0' minOccurs='0'", ""}},
    {'a',
     {"<xs:attribute name='x' type='%b'/>", "<xs:attribute name='y' use='required'/>",
      "<xs:attribute name='i' type='xs:ID'/>", "<xs:attribute name='r' type='xs:IDREF'/>",
      "<xs:attribute name='z' default='%v' type='%b'/>", "<xs:attribute ref='x'/>",
      "<xs:attribute name='y' fixed='%v'/>", "<xs:anyAttribute processContents='%q'/>",
      "<xs:attributeGroup ref='h'/>",
      "<xs:attribute name='x'><xs:simpleType>%d</xs:simpleType>"
      "</xs:attribute>",
      ""}},
    {'b',
     {"xs:int", "xs:date", "xs:decimal", "xs:boolean", "xs:QName", "xs:token", "xs:NMTOKENS",
      "xs:anyURI", "xs:double", "xs:base64Binary", "xs:duration", "s", "xs:anyType", "xs:string"}},
    {'d',
     {"<xs:restriction base='%b'>%f%f</xs:restriction>", "<xs:list itemType='%b'/>",
      "<xs:union memberTypes='%b %b'/>",
      "<xs:restriction><xs:simpleType>%d</xs:simpleType>%f"
      "</xs:restriction>",
      "<xs:list><xs:simpleType>%d</xs:simpleType></xs:list>",
      "<xs:restriction base='xs:string'/>"}},
    {'f',
     {"<xs:enumeration value='%v'/>", "<xs:pattern value='%r'/>", "<xs:length value='%v'/>",
      "<xs:minLength value='1'/>", "<xs:maxLength value='%v'/>", "<xs:minInclusive value='%v'/>",
      "<xs:maxExclusive value='%v'/>", "<xs:totalDigits value='2'/>",
      "<xs:fractionDigits value='1'/>", "<xs:whiteSpace value='collapse'/>", ""}},
    {'r', {"%r%r", "%r|%r", "(%r)*", "[a-c]", "\\d{1,3}", "%r?", "\\i\\c+", "[^x-[y]]", ".", "a"}},
    {'k',
     {"<xs:key name='k'><xs:selector xpath='%x'/><xs:field xpath='%z'/></xs:key>",
      "<xs:unique name='l'><xs:selector xpath='%x'/><xs:field xpath='%z'/><xs:field xpath='%z'/>"
      "</xs:unique>",
      "<xs:key name='k'><xs:selector xpath='%x'/><xs:field xpath='%z'/></xs:key><xs:keyref "
      "name='m' refer='k'><xs:selector xpath='%x'/><xs:field xpath='%z'/></xs:keyref>",
      ""}},
    {'x', {".//b", "b|c", "*", ".//b/a", "b"}},
    {'z', {"@x", "c", ".", "@*", "a/@y"}},
    {'n', {"b", "c", "d", "a"}},
    {'v', {"1", "a", "2024-02-29", "", "-7.5", "true", "12:00:00", "NaN", "a b", "P1Y", "3"}},
};

// s, p: schemas. g: definitions. q: patterns. n: names. d: types of data.
constexpr rule k_relax_ng[] = {
    {'s',
     {"<grammar xmlns='http://relaxng.org/ns/structure/1.0' datatypeLibrary="
      "'http://www.w3.org/2001/XMLSchema-datatypes'><start>%q</start>%g%g%g</grammar>",
      "<grammar xmlns='http://relaxng.org/ns/structure/1.0'><include href='b.rng'>%g</include>"
      "<start><element name='a'>%q</element></start>%g</grammar>",
      "<element name='a' xmlns='http://relaxng.org/ns/structure/1.0' datatypeLibrary="
      "'http://www.w3.org/2001/XMLSchema-datatypes'>%q%q</element>"}},
    {'p',
     {"<element name='b' xmlns='http://relaxng.org/ns/structure/1.0'>%q</element>",
      "<grammar xmlns='http://relaxng.org/ns/structure/1.0'><start>%q</start>%g%g</grammar>"}},
    {'g',
     {"<define name='r'>%q</define>", "<define name='t'%c>%q</define>",
      "<define name='r'%c><element name='b'>%q</element></define>", "<div>%g%g</div>",
      "<start%c>%q</start>", "<define name='r'><empty/></define>"}},
    {'c', {" combine='choice'", " combine='interleave'", ""}},
    {'q',
     {"<element name='%n'>%q</element>", "<attribute name='%x'>%q</attribute>",
      "<choice>%q%q</choice>", "<interleave>%q%q</interleave>", "<group>%q%q</group>",
      "<oneOrMore>%q</oneOrMore>", "<zeroOrMore>%q</zeroOrMore>", "<optional>%q</optional>",
      "<mixed>%q</mixed>", "<list>%q</list>", "<ref name='%r'/>", "<externalRef href='b.rng'/>",
      "%d", "<text/>"}},
    {'d',
     {"<data type='int'/>", "<data type='ID'/>", "<data type='IDREF'/>", "<value>1</value>",
      "<data type='string'><param name='maxLength'>2</param><except>%d</except></data>",
      "<value type='token'>a b</value>", "<data type='date'/>", "<notAllowed/>",
      "<element><anyName><except>%m</except></anyName>%q</element>",
      "<attribute><nsName ns='u'/></attribute>", "<empty/>"}},
    {'m', {"<nsName ns='u'/>", "<choice>%m%m</choice>", "<name>b</name>"}},
    {'n', {"b", "c", "d", "a"}},
    {'x', {"x", "y", "i", "r", "z"}},
    {'r', {"r", "t"}},
};

// s, p: definitions. m: content. n: names.
constexpr rule k_dtd[] = {
    {'s', {"%l%l%l%l<!ENTITY %@ e SYSTEM 'b.mod'>%@e;", "%l%l%l%l%l<!ELEMENT a %c>"}},
    {'p', {"%l%l", "%l<!ENTITY %@ e SYSTEM 'b.mod'>%@e;", "<![INCLUDE[%l]]>", "<![IGNORE[%l]]>%l"}},
    {'@', {"%"}},
    {'l',
     {"<!ELEMENT %n %c>", "<!ATTLIST %n x CDATA #REQUIRED>", "<!ATTLIST %n i ID #IMPLIED>",
      "<!ATTLIST %n r IDREFS #IMPLIED>", "<!ATTLIST %n y (a|b|1) 'a'>",
      "<!ATTLIST %n z NMTOKEN #FIXED 'a'>", "<!ENTITY g 'text'>", "<!NOTATION o SYSTEM 'o'>",
      "<!ATTLIST %n x NOTATION (o) #IMPLIED>", ""}},
    {'c', {"(#PCDATA)", "(#PCDATA|b|c)*", "(%m)", "(%m,%m)", "(%m|%m)", "EMPTY", "ANY"}},
    {'m', {"%n", "%n?", "%n*", "%n+", "(%m,%m)", "(%m|%m)*", "(%m,%m,%m)?", "b"}},
    {'n', {"b", "c", "d", "a"}},
};

// s: the document. a: attributes. c: content. v: values.
constexpr rule k_instance[] = {
    {'s', {"<a%a%a>%c%c%c</a>", "<a xmlns='u'%a>%c%c</a>", "<a%a>%c</a>"}},
    {'c',
     {"<b%a>%c</b>", "<c%a>%c%c</c>", "<d>%c</d>", "<a%a>%c</a>", "<b>%v</b>", "<c>%v</c>",
      "%c%c%c", "<p:b xmlns:p='u'%a>%c</p:b>", "<!--c-->", "<![CDATA[%v]]>", "<?t?>", "&#38;%v",
      " \n ", "%v"}},
    {'a',
     {" x='%v'", " y='%v'", " i='%i'", " r='%i'", " z='%v'", " x='%v' y='%v'", " i='%i' r='%i'",
      " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:nil='true'",
      " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:type='w'",
      " xmlns:p='u' p:x='%v'", " xml:id='%i'", ""}},
    {'i', {"i", "j", "k l", "1"}},
    {'v', {"1", "a", "2024-02-29", "", "-7.5", "true", "a&amp;b", "NaN", "a b", " 3 ", "abc"}},
};

std::span<const rule> rules_of(schema_language language) noexcept {
    switch (language) {
    case schema_language::xsd:
        return k_xsd;
    case schema_language::relax_ng:
        return k_relax_ng;
    default:
        return k_dtd;
    }
}

} // namespace

std::string random_schema(choices &from, schema_language language) {
    return maker(from, rules_of(language)).make('s');
}

std::string random_part(choices &from, schema_language language) {
    return maker(from, rules_of(language)).make('p');
}

std::string random_instance(choices &from) { return maker(from, k_instance).make('s'); }

} // namespace fuzz
