/*
 * What becomes of a configuration in a pass: parsed, walked by every stage, written, released. Beside it the work that
 * no upgrade can do without, unpacking the text and packing it again. The argument is the text's size in megabytes; for
 * EditList..., one list of nothing but edits, their number in thousands.
 */
#include "generate.h"
#include "ratios.h"
#include "sandbox.h"
#include "steps.h"

#include <libdeflate.h>
#include <malloc.h>

#include <climits>
#include <memory>
#include <string>

namespace {

using Generator = std::string(size_t argument);

std::string megabytes(size_t argument)
{
    return bench::header_lines() + bench::configuration(argument * 1000000);
}

std::string thousand_edits(size_t argument)
{
    return bench::header_lines() + bench::edit_list(argument * 1000);
}

void finish(benchmark::State &state, size_t size)
{
    state.SetBytesProcessed(static_cast<int64_t>(size) * state.iterations());
    bench::remove_texts();
}

/* What the heap holds. */
size_t allocated()
{
    struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

template <Generator generate> void Parse(benchmark::State &state)
{
    size_t size = bench::lay_out(generate(static_cast<size_t>(state.range(0))));
    bench::parse(); /* a single cold round, of a text that takes long, would say what the system takes to hand out
                       memory */
    bench::release();
    size_t before = allocated();
    size_t tree = 0;
    for (auto _ : state) {
        bench::parse();
        state.PauseTiming();
        tree = allocated() - before;
        bench::release();
        state.ResumeTiming();
    }
    state.counters["tree/text"] = static_cast<double>(tree) / static_cast<double>(size);
    finish(state, size);
}

template <Generator generate> void Walk(benchmark::State &state)
{
    size_t size = bench::lay_out(generate(static_cast<size_t>(state.range(0))));
    for (auto _ : state) {
        state.PauseTiming();
        bench::parse();
        state.ResumeTiming();
        bench::walk();
        state.PauseTiming();
        bench::release();
        state.ResumeTiming();
    }
    finish(state, size);
}

template <Generator generate> void Write(benchmark::State &state)
{
    size_t size = bench::lay_out(generate(static_cast<size_t>(state.range(0))));
    bench::parse();
    for (auto _ : state)
        bench::write();
    bench::release();
    finish(state, size);
}

template <Generator generate> void Release(benchmark::State &state)
{
    size_t size = bench::lay_out(generate(static_cast<size_t>(state.range(0))));
    for (auto _ : state) {
        state.PauseTiming();
        bench::parse();
        state.ResumeTiming();
        bench::release();
    }
    finish(state, size);
}

std::string packed(const std::string &text)
{
    std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor *)> tool(libdeflate_alloc_compressor(6),
                                                                                   libdeflate_free_compressor);
    std::string bytes(libdeflate_gzip_compress_bound(tool.get(), text.size()), '\0');
    bytes.resize(libdeflate_gzip_compress(tool.get(), text.data(), text.size(), bytes.data(), bytes.size()));
    return bytes;
}

template <Generator generate> void Unpack(benchmark::State &state)
{
    std::string text = generate(static_cast<size_t>(state.range(0)));
    std::string bytes = packed(text);
    for (auto _ : state) {
        std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor *)> tool(
            libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
        bench::need(libdeflate_gzip_decompress(tool.get(), bytes.data(), bytes.size(), text.data(), text.size(),
                                               nullptr) == LIBDEFLATE_SUCCESS,
                    "unpacking");
    }
    state.SetBytesProcessed(static_cast<int64_t>(text.size()) * state.iterations());
}

template <Generator generate> void Pack(benchmark::State &state)
{
    std::string text = generate(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(packed(text));
    state.SetBytesProcessed(static_cast<int64_t>(text.size()) * state.iterations());
}

void sizes(benchmark::internal::Benchmark *one)
{
    one->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
}

void edits(benchmark::internal::Benchmark *one)
{
    one->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(Unpack<megabytes>)->Name("Unpack")->Apply(sizes);
BENCHMARK(Pack<megabytes>)->Name("Pack")->Apply(sizes);
BENCHMARK(Parse<megabytes>)->Name("Parse")->Apply(sizes);
BENCHMARK(Write<megabytes>)->Name("Write")->Apply(sizes);
BENCHMARK(Release<megabytes>)->Name("Release")->Apply(sizes);
BENCHMARK(Walk<megabytes>)->Name("Walk")->Apply(sizes);

BENCHMARK(Parse<thousand_edits>)->Name("EditListParse")->Apply(edits);
BENCHMARK(Write<thousand_edits>)->Name("EditListWrite")->Apply(edits);
BENCHMARK(Release<thousand_edits>)->Name("EditListRelease")->Apply(edits);
BENCHMARK(Walk<thousand_edits>)->Name("EditListWalk")->Apply(edits);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::CPUInfo::Get(); /* reads /proc, which the sandbox does not have */
    bench::RatioReporter reporter({
        {"parse + write, to unpacking + packing", {"Parse", "Write"}, {"Unpack", "Pack"}},
        {"walk, to parse + write", {"Walk"}, {"Parse", "Write"}},
        {"walk of one list, to parse + write", {"EditListWalk"}, {"EditListParse", "EditListWrite"}},
    });
    /* Memory stays with the process, so that only a first round pays for what the system does to hand it out. */
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    bench::enter_sandbox();
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bench::leave_sandbox();
    benchmark::Shutdown();
}
