// Load, export and lookup of a large metadata document, each beside a bare Xerces-C baseline
// written here, plus the memory a loaded document holds and the peak during its load.
//
// Memory is counted by replacing the global allocation functions of this program, which both
// the library and Xerces-C use for their objects.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "cfmeta/metadata/cfmetadata.h"
#include "cfmeta/vocab/cfvocabulary.h"
#include "cfmeta/xml/cfxmlwrapper.h"

namespace {

size_t gLive = 0;
size_t gPeak = 0;

}  // namespace

// The replaced allocation functions pair malloc with free themselves.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  gLive += malloc_usable_size(p);
  gPeak = std::max(gPeak, gLive);
  return p;
}
void operator delete(void* p) noexcept {
  if (p == nullptr) return;
  gLive -= malloc_usable_size(p);
  std::free(p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }
void* operator new[](size_t size) { return operator new(size); }
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete[](void* p, size_t) noexcept { operator delete(p); }

namespace {

XERCES_CPP_NAMESPACE_USE
namespace XMLAttributes = CfCppHelperV1::XMLAttributes;
namespace XMLElements = CfCppHelperV1::XMLElements;
namespace XMLEntities = CfCppHelperV1::XMLEntities;

constexpr int kFields = 20000;

std::string Attr(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + value + "\"";
}

const std::string& Document() {
  static const std::string text = [] {
    std::string xml = "<" + std::string(XMLElements::DataModel) + "><" + XMLElements::Fields + ">";
    for (int f = 0; f < kFields; ++f) {
      xml += "<" + std::string(XMLElements::Field) +
             Attr(XMLAttributes::Name, "field" + std::to_string(f)) +
             Attr(XMLAttributes::Storage, XMLEntities::Integer) +
             Attr(XMLAttributes::Measure, XMLEntities::Nominal) +
             Attr(XMLAttributes::Role, XMLEntities::Input) +
             Attr(XMLAttributes::DisplayLabel, "Question " + std::to_string(f)) + ">";
      xml += "<" + std::string(XMLElements::Values) + ">";
      for (int v = 1; v <= 10; ++v) {
        xml += "<" + std::string(XMLElements::Value) +
               Attr(XMLAttributes::Value, std::to_string(v)) +
               Attr(XMLAttributes::DisplayLabel, "Answer " + std::to_string(v)) + "/>";
      }
      xml += "</" + std::string(XMLElements::Values) + ">";
      xml += "<" + std::string(XMLElements::MissingValues) +
             Attr(XMLAttributes::TreatNullAsMissing, XMLEntities::True) +
             Attr(XMLAttributes::TreatWhitespaceAsMissing, XMLEntities::False) + "><" +
             XMLElements::Values + "><" + XMLElements::Value + Attr(XMLAttributes::Value, "99") +
             "/></" + XMLElements::Values + "></" + XMLElements::MissingValues + ">";
      xml += "<" + std::string(XMLElements::FieldFormat) + "><" + XMLElements::NumberFormat +
             Attr(XMLAttributes::Name, "") + Attr(XMLAttributes::Width, "8") +
             Attr(XMLAttributes::Alignment, XMLEntities::Right) +
             Attr(XMLAttributes::FormatType, XMLEntities::Standard) +
             Attr(XMLAttributes::DecimalPlaces, "0") +
             Attr(XMLAttributes::DecimalSymbol, XMLEntities::Period) +
             Attr(XMLAttributes::GroupingSymbol, XMLEntities::None) + "/></" +
             XMLElements::FieldFormat + ">";
      xml += "</" + std::string(XMLElements::Field) + ">";
    }
    xml += "</" + std::string(XMLElements::Fields) + "></" + XMLElements::DataModel + ">";
    return xml;
  }();
  return text;
}

// The bare baseline: parse, then read every attribute of every element into UTF-8.
size_t BareParseAndWalk(const std::string& text) {
  XercesDOMParser parser;
  parser.setValidationScheme(XercesDOMParser::Val_Never);
  parser.setDoSchema(false);
  parser.setLoadExternalDTD(false);
  MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "id", false);
  parser.parse(source);
  size_t total = 0;
  std::vector<DOMNode*> stack{parser.getDocument()->getDocumentElement()};
  std::string utf8;
  while (!stack.empty()) {
    DOMNode* node = stack.back();
    stack.pop_back();
    DOMNamedNodeMap* attributes = node->getAttributes();
    for (XMLSize_t i = 0; attributes != nullptr && i < attributes->getLength(); ++i) {
      CfExtension::CFXMLConverter::ToUTF8(attributes->item(i)->getNodeValue(), utf8);
      total += utf8.size();
    }
    for (DOMNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
      if (child->getNodeType() == DOMNode::ELEMENT_NODE) stack.push_back(child);
    }
  }
  return total;
}

class Upper : public CFUpperFunc {
 public:
  std::string operator()(const std::string& name) const override {
    std::string out = name;
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
  }
};

void BM_Load(benchmark::State& state) {
  const std::string& text = Document();
  for (auto _ : state) {
    CFMetaData meta(text, nullptr);
    if (meta.FieldCount() != kFields) state.SkipWithError("load failed");
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);

void BM_BareParseAndWalk(benchmark::State& state) {
  const std::string& text = Document();
  for (auto _ : state) benchmark::DoNotOptimize(BareParseAndWalk(text));
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_BareParseAndWalk)->Unit(benchmark::kMillisecond);

// The library's own parse alone, to tell parse time from model-building time.
void BM_WrapperParse(benchmark::State& state) {
  const std::string& text = Document();
  for (auto _ : state) {
    CfExtension::CFXMLWrapper doc;
    doc.loadFromContents(text.c_str());
    if (doc.getElement() == nullptr) state.SkipWithError("parse failed");
  }
  state.SetBytesProcessed(state.iterations() * text.size());
}
BENCHMARK(BM_WrapperParse)->Unit(benchmark::kMillisecond);

void BM_Export(benchmark::State& state) {
  CFMetaData meta(Document(), nullptr);
  std::string out;
  for (auto _ : state) {
    if (!meta.ExportXMLDoc(out)) state.SkipWithError("export failed");
  }
}
BENCHMARK(BM_Export)->Unit(benchmark::kMillisecond);

// The bare baseline: build an equal tree from UTF-8 strings, then serialise it.
void BM_BareBuildAndSerialise(benchmark::State& state) {
  CFMetaData meta(Document(), nullptr);
  std::string reference;
  meta.ExportXMLDoc(reference);
  for (auto _ : state) {
    // Rebuild the tree from the exported text's structure: a parse is not part of the baseline,
    // so walk a parsed copy made outside the timing.
    state.PauseTiming();
    XercesDOMParser parser;
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(reference.data()), reference.size(),
                             "id", false);
    parser.parse(source);
    DOMElement* sourceRoot = parser.getDocument()->getDocumentElement();
    struct Item {
      DOMElement* from;
      DOMElement* to;
    };
    // Names and values as UTF-8, as the library holds them.
    std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> plan;
    std::vector<int> parents;
    {
      std::vector<std::pair<DOMElement*, int>> stack{{sourceRoot, -1}};
      while (!stack.empty()) {
        auto [element, parent] = stack.back();
        stack.pop_back();
        std::string name;
        CfExtension::CFXMLConverter::ToUTF8(element->getTagName(), name);
        std::vector<std::pair<std::string, std::string>> attrs;
        DOMNamedNodeMap* map = element->getAttributes();
        for (XMLSize_t i = 0; i < map->getLength(); ++i) {
          std::pair<std::string, std::string> a;
          CfExtension::CFXMLConverter::ToUTF8(map->item(i)->getNodeName(), a.first);
          CfExtension::CFXMLConverter::ToUTF8(map->item(i)->getNodeValue(), a.second);
          attrs.push_back(std::move(a));
        }
        plan.emplace_back(std::move(name), std::move(attrs));
        parents.push_back(parent);
        int self = static_cast<int>(plan.size() - 1);
        std::vector<DOMElement*> children;
        for (DOMElement* c = element->getFirstElementChild(); c != nullptr;
             c = c->getNextElementSibling()) {
          children.push_back(c);
        }
        for (auto it = children.rbegin(); it != children.rend(); ++it) stack.push_back({*it, self});
      }
    }
    state.ResumeTiming();

    static const XMLCh kCore[] = {'C', 'o', 'r', 'e', 0};
    DOMImplementation* impl = DOMImplementationRegistry::getDOMImplementation(kCore);
    CfExtension::CFXMLConverter rootName(plan[0].first);
    DOMDocument* doc = impl->createDocument(nullptr, rootName, nullptr);
    std::vector<DOMElement*> made(plan.size());
    made[0] = doc->getDocumentElement();
    for (size_t i = 0; i < plan.size(); ++i) {
      if (i > 0) {
        made[i] = doc->createElement(CfExtension::CFXMLConverter(plan[i].first));
        made[parents[i]]->appendChild(made[i]);
      }
      for (const auto& a : plan[i].second) {
        made[i]->setAttribute(CfExtension::CFXMLConverter(a.first),
                              CfExtension::CFXMLConverter(a.second));
      }
    }
    DOMLSSerializer* serializer = impl->createLSSerializer();
    DOMLSOutput* output = impl->createLSOutput();
    MemBufFormatTarget target(1023);
    output->setByteStream(&target);
    serializer->write(doc, output);
    std::string out(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen());
    benchmark::DoNotOptimize(out);
    output->release();
    serializer->release();
    doc->release();
  }
}
BENCHMARK(BM_BareBuildAndSerialise)->Unit(benchmark::kMillisecond);

void BM_LookupEveryField(benchmark::State& state) {
  Upper upper;
  CFUpperFunc* fold = state.range(0) != 0 ? &upper : nullptr;
  CFMetaData meta(Document(), fold);
  std::vector<std::string> names;
  for (int f = 0; f < kFields; ++f) names.push_back("field" + std::to_string(f));
  for (auto _ : state) {
    long long sum = 0;
    for (const std::string& name : names) sum += meta.GetFieldIndex(name);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kFields);
}
BENCHMARK(BM_LookupEveryField)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Memory(benchmark::State& state) {
  const std::string& text = Document();
  for (auto _ : state) {
    size_t base = gLive;
    gPeak = gLive;
    BareParseAndWalk(text);
    size_t barePeak = gPeak - base;

    base = gLive;
    gPeak = gLive;
    CFMetaData* meta = new CFMetaData(text, nullptr);
    size_t loadPeak = gPeak - base;
    size_t held = gLive - base;
    delete meta;

    state.counters["text_MB"] = text.size() / 1e6;
    state.counters["held_MB"] = held / 1e6;
    state.counters["held_over_text"] = static_cast<double>(held) / text.size();
    state.counters["bare_peak_MB"] = barePeak / 1e6;
    state.counters["load_peak_MB"] = loadPeak / 1e6;
    state.counters["peak_ratio"] = static_cast<double>(loadPeak) / barePeak;
  }
}
BENCHMARK(BM_Memory)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  CfExtension::CFXMLWrapper::startup(false);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  CfExtension::CFXMLWrapper::shutdown(false);
  return 0;
}
