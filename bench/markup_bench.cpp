// SetDoc and a full walk of a ~1 MB catalogue answer (every attribute of
// every <Item> read by name), beside pugixml, tinyxml2 and libxml2 parsing and
// walking the same text. Throughput is reported in bytes of document per second.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <cstring>
#include <string>

#include "xml/Markup.h"

namespace {

// The item list answer's attributes, in the order its parser reads them.
const char* const kItemAttribs[] = {"Type", "Code", "ParentCode", "Name", "StartTime",
                                    "EndTime", "Desc", "Icon1", "Icon2", "Flag",
                                    "Summary", "Status"};

const std::string& Catalogue()
{
    static const std::string text = [] {
        std::string doc = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>"
                          "<Result ResultCode=\"0\" ResultMsg=\"ok\"/>\n"
                          "<Programee TotalCount=\"4000\" Count=\"4000\" PageIndex=\"1\" "
                          "PageSize=\"4000\">\n";
        for (int i = 0; i < 4000; ++i) {
            const std::string n = std::to_string(i);
            doc += "  <Item Type=\"" + std::to_string(1 + i % 3) + "\" Code=\"PRG" + n +
                   "\" ParentCode=\"CAT" + std::to_string(i / 50) + "\" Name=\"Programme " + n +
                   " &amp; friends\" StartTime=\"2024-06-11 20:00:00\" EndTime=\"2024-06-11 "
                   "21:30:00\" Desc=\"An evening programme, episode " + n +
                   "\" Icon1=\"http://img.example.net/p/" + n + "/small.png\" Icon2=\"http://"
                   "img.example.net/p/" + n + "/big.png\" Flag=\"" + std::to_string(i % 2) +
                   "\" Summary=\"Summary text for item " + n + "\" Status=\"1\"/>\n";
        }
        doc += "</Programee></Root>\n";
        return doc;
    }();
    return text;
}

// The shared frame: one parse (and walk) per iteration, throughput in bytes
// of document. readAll(text, mode) returns the summed value lengths.
template <typename ReadAll>
void Measure(benchmark::State& state, ReadAll readAll)
{
    const std::string& text = Catalogue();
    for (auto _ : state)
        benchmark::DoNotOptimize(readAll(text, state.range(0)));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text.size()));
}

void BM_CMarkup(benchmark::State& state)
{
    Measure(state, [](const std::string& text, int64_t mode) {
        CMarkup xml;
        xml.SetDoc(text);
        size_t total = 0;
        if (mode) {
            xml.FindElem("Root");
            xml.IntoElem();
            xml.FindElem("Programee");
            xml.IntoElem();
            while (xml.FindElem("Item"))
                for (const char* name : kItemAttribs)
                    total += xml.GetAttrib(name).size();
        }
        return total;
    });
}

// Mode 2 copies each value into a std::string, as CMarkup's getters return them.
void BM_Pugixml(benchmark::State& state)
{
    Measure(state, [](const std::string& text, int64_t mode) {
        pugi::xml_document doc;
        doc.load_buffer(text.data(), text.size());
        size_t total = 0;
        if (mode) {
            const pugi::xml_node list = doc.child("Root").child("Programee");
            for (pugi::xml_node item = list.child("Item"); item; item = item.next_sibling("Item"))
                for (const char* name : kItemAttribs) {
                    const char* value = item.attribute(name).value();
                    total += mode == 2 ? std::string(value).size() : std::strlen(value);
                }
        }
        return total;
    });
}

void BM_Tinyxml2(benchmark::State& state)
{
    Measure(state, [](const std::string& text, int64_t mode) {
        tinyxml2::XMLDocument doc;
        doc.Parse(text.data(), text.size());
        size_t total = 0;
        if (mode) {
            const tinyxml2::XMLElement* list =
                doc.FirstChildElement("Root")->FirstChildElement("Programee");
            for (const tinyxml2::XMLElement* item = list->FirstChildElement("Item"); item;
                 item = item->NextSiblingElement("Item"))
                for (const char* name : kItemAttribs) {
                    const char* value = item->Attribute(name);
                    total += value ? std::strlen(value) : 0;
                }
        }
        return total;
    });
}

xmlNodePtr NextElement(xmlNodePtr node, const char* name)
{
    for (; node; node = node->next)
        if (node->type == XML_ELEMENT_NODE &&
            xmlStrEqual(node->name, reinterpret_cast<const xmlChar*>(name)))
            return node;
    return nullptr;
}

void BM_Libxml2(benchmark::State& state)
{
    Measure(state, [](const std::string& text, int64_t mode) {
        xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                      nullptr, XML_PARSE_NONET);
        size_t total = 0;
        if (mode) {
            xmlNodePtr list = NextElement(xmlDocGetRootElement(doc)->children, "Programee");
            for (xmlNodePtr item = NextElement(list->children, "Item"); item;
                 item = NextElement(item->next, "Item"))
                for (const char* name : kItemAttribs) {
                    xmlChar* value = xmlGetProp(item, reinterpret_cast<const xmlChar*>(name));
                    total += value ? static_cast<size_t>(xmlStrlen(value)) : 0;
                    xmlFree(value);
                }
        }
        xmlFreeDoc(doc);
        return total;
    });
}

} // namespace

// Argument 1: parse and read every attribute; 2: the same with copies; 0: parse only.
BENCHMARK(BM_CMarkup)->ArgName("walk")->Arg(1)->Arg(0);
BENCHMARK(BM_Pugixml)->ArgName("walk")->Arg(1)->Arg(2)->Arg(0);
BENCHMARK(BM_Tinyxml2)->ArgName("walk")->Arg(1)->Arg(0);
BENCHMARK(BM_Libxml2)->ArgName("walk")->Arg(1)->Arg(0);
