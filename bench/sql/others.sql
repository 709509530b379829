-- The same work by the other means a PostgreSQL user has.
create extension plpython3u;
create extension plperlu;

create function bench.lxml_round_trip(content text) returns bigint language plpython3u as $$
from lxml import etree
parser = etree.XMLParser(remove_blank_text=True, huge_tree=True, resolve_entities=True)
tree = etree.fromstring(content.encode('utf-8'), parser)
return len(etree.tostring(tree, pretty_print=True, encoding='unicode'))
$$;
create function bench.lxml_sum_items(content text) returns bigint language plpython3u as $$
from lxml import etree
tree = etree.fromstring(content.encode('utf-8'))
total = 0
for item in tree.iter('item'):
    total += int(item.text)
return total
$$;
create function bench.lxml_build(elements int) returns bigint language plpython3u as $$
from lxml import etree
root = etree.Element('items')
for i in range(elements):
    item = etree.SubElement(root, 'item')
    item.set('sku', 'A1')
    item.set('price', '12.50')
    item.text = 'an article'
return len(etree.tostring(root, pretty_print=True, encoding='unicode'))
$$;
create function bench.libxml_build(elements int) returns bigint language plperlu as $$
use XML::LibXML;
my $document = XML::LibXML::Document->new('1.0', 'UTF-8');
my $root = $document->createElement('items');
$document->setDocumentElement($root);
for my $i (1 .. $_[0]) {
    my $item = $document->createElement('item');
    $item->setAttribute('sku', 'A1');
    $item->setAttribute('price', '12.50');
    $item->appendChild($document->createTextNode('an article'));
    $root->appendChild($item);
}
return length($document->toString(1));
$$;
create function bench.libxml_round_trip(content text) returns bigint language plperlu as $$
use XML::LibXML;
my $document = XML::LibXML->new(no_blanks => 1, huge => 1)->parse_string($_[0]);
return length($document->toString(1));
$$;
create function bench.libxml_visit(content text) returns bigint language plperlu as $$
use XML::LibXML;
my $document = XML::LibXML->new(no_blanks => 1, huge => 1)->parse_string($_[0]);
my $visited = 0;
my @stack = ($document->documentElement);
while (my $node = pop @stack) {
    my ($name, $value) = ($node->nodeName, $node->nodeValue);
    $visited++;
    push @stack, reverse $node->childNodes;
}
return $visited;
$$;
create function bench.lxml_read_and_set(content text) returns bigint language plpython3u as $$
from lxml import etree
parser = etree.XMLParser(remove_blank_text=True, huge_tree=True, resolve_entities=True)
tree = etree.fromstring(content.encode('utf-8'), parser)
total = 0
for item in tree.iter('order'):
    total += int(item.get('id'))
    item.set('state', 'open')
return total
$$;
create function bench.libxml_read_and_set(content text) returns bigint language plperlu as $$
use XML::LibXML;
my $document = XML::LibXML->new(no_blanks => 1, huge => 1)->parse_string($_[0]);
my $total = 0;
for my $item ($document->getElementsByTagName('order')) {
    $total += $item->getAttribute('id');
    $item->setAttribute('state', 'open');
}
return $total;
$$;
create function bench.xml_type_xpath_items(content text) returns bigint language sql as $$
    select sum(value::text::bigint) from unnest(xpath('/items/item/text()', content::xml)) value
$$;
create function bench.xml_type_sum_items(content text) returns bigint language sql as $$
    select sum(value) from xmltable('/items/item' passing (content::xml)
                                    columns value bigint path '.')
$$;
create function bench.xml_type_round_trip(content text) returns bigint language sql as $$
    select octet_length(xmlserialize(document content::xml as text))
$$;
