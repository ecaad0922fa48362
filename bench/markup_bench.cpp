// The navigator beside pugixml on the same work: take a ~1.5 MB catalogue answer, find
// every <Item> and read each of its attributes by name into a std::string (the navigator's
// getters return copies, so pugixml's values are copied too). Each run checks that every
// value was read. Throughput is in bytes of document per second.
// The shapes of markup_shapes.h are parsed and walked at sizes from 64 KiB to
// 8 MiB: their time per byte (s/B) must stay flat as they grow. Every iteration's
// instructions are counted too (instruction_count.h).
#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <string>

#include "instruction_count.h"
#include "markup_shapes.h"
#include "xml/Markup.h"

namespace {

// The item list answer's attributes, in the order its parser reads them.
const char* const kItemAttribs[] = {"Type", "Code",  "ParentCode", "Name", "StartTime", "EndTime",
                                    "Desc", "Icon1", "Icon2",      "Flag", "Summary",   "Status"};
constexpr int kItems = 4000;

struct Catalogue {
    std::string text;
    size_t value_bytes = 0;  // every attribute value of every item, decoded
};

const Catalogue& TheCatalogue()
{
    static const Catalogue catalogue = [] {
        Catalogue c;
        c.text =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>"
            "<Result ResultCode=\"0\" ResultMsg=\"ok\"/>\n"
            "<Programee TotalCount=\"4000\" Count=\"4000\" PageIndex=\"1\" "
            "PageSize=\"4000\">\n";
        for (int i = 0; i < kItems; ++i) {
            const std::string n = std::to_string(i);
            const std::string values[] = {std::to_string(1 + i % 3),
                                          "PRG" + n,
                                          "CAT" + std::to_string(i / 50),
                                          "Programme " + n + " &amp; friends",
                                          "2024-06-11 20:00:00",
                                          "2024-06-11 21:30:00",
                                          "An evening programme, episode " + n,
                                          "http://img.example.net/p/" + n + "/small.png",
                                          "http://img.example.net/p/" + n + "/big.png",
                                          std::to_string(i % 2),
                                          "Summary text for item " + n,
                                          "1"};
            c.text += "  <Item";
            for (size_t a = 0; a < std::size(kItemAttribs); ++a) {
                c.text += std::string(" ") + kItemAttribs[a] + "=\"" + values[a] + "\"";
                c.value_bytes += values[a].size() - (a == 3 ? 4 : 0);  // "&amp;" reads as "&"
            }
            c.text += "/>\n";
        }
        c.text += "</Programee></Root>\n";
        return c;
    }();
    return catalogue;
}

// The shared frame: one parse and walk per iteration; readAll returns the bytes read.
template <typename ReadAll>
void Measure(benchmark::State& state, const char* label, ReadAll readAll)
{
    const Catalogue& catalogue = TheCatalogue();
    InstructionCount instructions(label);
    for (auto _ : state) {
        instructions.Start();
        const size_t read = readAll(catalogue.text);
        instructions.Stop();
        if (read != catalogue.value_bytes) {
            state.SkipWithError("not every attribute value was read");
            break;
        }
        benchmark::DoNotOptimize(read);
    }
    instructions.Report(state, "instructions");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(catalogue.text.size()));
}

void BM_NavigatorReadEveryAttribute(benchmark::State& state)
{
    Measure(state, "BM_NavigatorReadEveryAttribute", [](const std::string& text) {
        CMarkup xml;
        xml.SetDoc(text);
        size_t total = 0;
        xml.FindElem("Root");
        xml.IntoElem();
        xml.FindElem("Programee");
        xml.IntoElem();
        while (xml.FindElem("Item"))
            for (const char* name : kItemAttribs) {
                const std::string value = xml.GetAttrib(name);
                total += value.size();
            }
        return total;
    });
}

void BM_PugixmlReadEveryAttribute(benchmark::State& state)
{
    Measure(state, "BM_PugixmlReadEveryAttribute", [](const std::string& text) {
        pugi::xml_document doc;
        doc.load_buffer(text.data(), text.size());
        size_t total = 0;
        const pugi::xml_node list = doc.child("Root").child("Programee");
        for (pugi::xml_node item = list.child("Item"); item; item = item.next_sibling("Item"))
            for (const char* name : kItemAttribs) {
                const std::string value = item.attribute(name).value();
                total += value.size();
            }
        return total;
    });
}

void BM_Shape(benchmark::State& state, int shape)
{
    const std::string doc = markup_shapes::MakeShape(shape, static_cast<size_t>(state.range(0)));
    // The dump's label ends in the document's size, for the count per byte.
    InstructionCount instructions(std::string("BM_Shape/") + markup_shapes::ShapeName(shape) +
                                  "/" + std::to_string(state.range(0)) + " " +
                                  std::to_string(doc.size()));
    for (auto _ : state) {
        instructions.Start();
        {
            CMarkup xml;
            benchmark::DoNotOptimize(markup_shapes::WalkAll(xml, doc));
        }
        instructions.Stop();
    }
    instructions.Report(state, "instr/B", static_cast<double>(doc.size()));
    state.counters["s/B"] = benchmark::Counter(static_cast<double>(doc.size()),
                                               benchmark::Counter::kIsIterationInvariantRate |
                                                   benchmark::Counter::kInvert);
}

const bool kShapesRegistered = [] {
    for (int shape = 0; shape < markup_shapes::kShapeCount; ++shape)
        benchmark::RegisterBenchmark(
            (std::string("BM_Shape/") + markup_shapes::ShapeName(shape)).c_str(), BM_Shape, shape)
            ->RangeMultiplier(8)
            ->Range(64 << 10, 8 << 20)
            ->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace

BENCHMARK(BM_NavigatorReadEveryAttribute);
BENCHMARK(BM_PugixmlReadEveryAttribute);
