// SPDX-License-Identifier: MIT

// How fast the pull parser gives the events of a document, with all that a reader of values asks of each.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "streams/stream.h"
#include "xml/pull_parser.h"

namespace {

class MemoryInputStream final : public CInputStream {
public:
    explicit MemoryInputStream(const std::string& text) : at(text.data()), end(text.data() + text.size()) {}
    int get() override { return at == end ? -1 : static_cast<unsigned char>(*at++); }
    int read(char* buffer, int length) override {
        const auto count = static_cast<int>(std::min<std::ptrdiff_t>(end - at, length));
        if (count == 0) return -1;
        std::memcpy(buffer, at, static_cast<std::size_t>(count));
        at += count;
        return count;
    }
    int available() override { return static_cast<int>(end - at); }
    int status() override { return kStreamGood; }

private:
    const char* at;
    const char* end;
};

const std::string kOpening =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
    "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
    "SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<SOAP-ENV:Body>\r\n";
const std::string kClosing = "\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n";

std::string small_envelope() {
    return kOpening +
           "<m:transfer xmlns:m=\"http://acme.example/bank\">\r\n<source "
           "xsi:type=\"xsd:string\">alice</source>"
           "\r\n<target xsi:type=\"xsd:string\">bob</target>\r\n<amount xsi:type=\"xsd:int\">1500</amount>"
           "\r\n<receipt xsi:type=\"m:Receipt\">\r\n<account xsi:type=\"xsd:string\">alice</account>"
           "\r\n<balance xsi:type=\"xsd:int\">8500</balance>\r\n<mood xsi:type=\"m:Mood\">CALM</mood>"
           "\r\n</receipt>\r\n</m:transfer>" +
           kClosing;
}

std::string array_of_longs(std::size_t size) {
    std::string text = kOpening + "<m:echo xmlns:m=\"http://acme.example/bank\"><values>";
    for (int i = 0; text.size() < size; ++i)
        text += "\r\n<item xsi:type=\"xsd:int\">" + std::to_string(i * 7919) + "</item>";
    return text + "</values></m:echo>" + kClosing;
}

std::string array_of_records(std::size_t size) {
    std::string text = kOpening + "<m:echo xmlns:m=\"http://acme.example/bank\"><values>";
    for (int i = 0; text.size() < size; ++i) {
        const std::string number = std::to_string(i * 7919);
        text += "\r\n<item xsi:type=\"m:Record\">\r\n<name xsi:type=\"xsd:string\">record " + number +
                "</name>\r\n<number xsi:type=\"xsd:int\">" + number +
                "</number>\r\n<share xsi:type=\"xsd:float\">0.5</share></item>";
    }
    return text + "</values></m:echo>" + kClosing;
}

std::string long_text(std::size_t size) {
    std::string text = kOpening + "<m:echo xmlns:m=\"http://acme.example/bank\"><text>";
    const std::size_t end = text.size() + size;
    while (text.size() < end)
        text += "The quick brown fox jumps over the lazy dog, again and again, &amp; so on. ";
    return text + "</text></m:echo>" + kClosing;
}

int read_events(const std::string& document, XmlText text) {
    MemoryInputStream stream(document);
    CXmlPullParser parser(&stream, text);
    parser.setProcessNamespaces();
    int seen = 0;
    for (;;) {
        const int event = parser.next();
        if (event == XML_END_DOCUMENT) return seen;
        if (event == TEXT) {
            seen += parser.getText().length();
            continue;
        }
        seen += parser.getName().length() + parser.getNamespace().length();
        for (int i = 0; i < parser.getAttributeCount(); ++i)
            seen += parser.getAttributeName(i).length() + parser.getAttributeValue(i).length();
    }
}

/// Argument 1 asks for UTF-8.
void read_document(benchmark::State& state, const std::string& document) {
    const XmlText text = state.range(0) == 1 ? XmlText::utf8 : XmlText::one_byte;
    for (auto _ : state) benchmark::DoNotOptimize(read_events(document, text));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(document.size()));
    state.counters["bytes"] = static_cast<double>(document.size());
}

void ReadSmallEnvelope(benchmark::State& state) {
    read_document(state, small_envelope());
}
void ReadArrayOfLongs(benchmark::State& state) {
    read_document(state, array_of_longs(1 << 20));
}
void ReadArrayOfRecords(benchmark::State& state) {
    read_document(state, array_of_records(1 << 20));
}
void ReadLongText(benchmark::State& state) {
    read_document(state, long_text(1 << 20));
}

BENCHMARK(ReadSmallEnvelope)->Arg(0)->Arg(1);
BENCHMARK(ReadArrayOfLongs)->Arg(0)->Arg(1);
BENCHMARK(ReadArrayOfRecords)->Arg(0)->Arg(1);
BENCHMARK(ReadLongText)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
