// SPDX-License-Identifier: MIT
// How fast values become XML in memory: MB of XML a second, and nanoseconds a value, in both modes.

#include <benchmark/benchmark.h>
#include <caldane/values.h>

#include <memory>
#include <string>

#include "encoder/soap_named_value.h"
#include "http/http_message.h"
#include "marshal/soap_out_stream.h"
#include "streams/stream.h"

namespace {

/// Counts what it is given.
class CountingSink final : public COutputStream {
public:
    explicit CountingSink(std::int64_t& to) : count(to) {}
    int write(const char*, int length) override {
        count += length;
        return length;
    }
    int put(char) override { return write(nullptr, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return 0; }

private:
    std::int64_t& count;
};

class Record final : public _Caldane_Struct<Record> {
public:
    _Caldane_String text;
    _Caldane_Long number = 0;
    float ratio = 0;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Record::text>("varString"),
                                                       _Caldane_member<&Record::number>("varInt"),
                                                       _Caldane_member<&Record::ratio>("varFloat")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:b/Record:1.0", "Record", "urn:bench"}, kMembers};
        return kInfo;
    }
};

void write(benchmark::State& state, const _Caldane_TxType& value, std::int64_t values) {
    std::int64_t bytes = 0;
    for (auto _ : state) {
        CHttpMessage message(HTTP_CLIENT_SIDE);
        _SOAP_OutStream out;
        out.attach(&message, kVqNoSocket, nullptr);
        out.set_rpc_encoding(state.range(0) != 0);
        out.open_body_over(std::make_unique<CountingSink>(bytes));
        _SOAP_NamedValue("v", _Caldane_AnyConstRef(value)).write(out);
        out.close_body();
    }
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * values);
}

void longs(benchmark::State& state) {
    _Caldane_Sequence<_Caldane_Long> value;
    for (_Caldane_Long i = 0; i < 1'000'000; ++i) value.push_back(i * 2147 - 1'000'000'000);
    write(state, value, 1'000'000);
}

void doubles(benchmark::State& state) {
    _Caldane_Sequence<double> value;
    for (int i = 0; i < 1'000'000; ++i) value.push_back(i * 0.37 - 12345.678);
    write(state, value, 1'000'000);
}

void structs(benchmark::State& state) {
    _Caldane_Sequence<Record> value(100'000);
    _Caldane_Long i = 0;
    for (Record& record : value) {
        record.text = _Caldane_String("record number " + std::to_string(i));
        record.number = i;
        record.ratio = static_cast<float>(i++) * 0.5F;
    }
    write(state, value, 100'000);
}

void text(benchmark::State& state) {
    std::string chars(10'000'000, 'x');
    for (std::size_t i = 0; i < chars.size(); i += 100) chars[i] = '&';
    const _Caldane_String value(chars);
    write(state, value, 1);
}

void base64(benchmark::State& state) {
    _Caldane_Sequence<unsigned char> value;
    for (int i = 0; i < 7'500'000; ++i) value.push_back(static_cast<unsigned char>(i * 31));
    write(state, value, 1);
}

BENCHMARK(longs)->ArgName("encoded")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(doubles)->ArgName("encoded")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(structs)->ArgName("encoded")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(text)->ArgName("encoded")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(base64)->ArgName("encoded")->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
