// TextBench.cpp: conversions between the code page and UTF-16 beside the bare library call and a plain copy.
#include "Bench.h"

#include "QK3DText.h"
#include <cstring>
#include <iconv.h>
#include <string>
#include <vector>

namespace {
using qk3d::string;
using qk3d::wstring;

constexpr std::size_t kBytes = 1 << 20;
constexpr std::size_t kPiece = 32;

// Half its characters Chinese, half ASCII, in the code page, in pieces of 32 bytes that cut no character. Trail bytes stay
// below the few that row 0xD7 leaves without a character.
std::vector<string> MakePieces(bool chinese) {
    auto random = bench::MakeRandom();
    std::uniform_int_distribution<int> lead(0xB0, 0xF6), trail(0xA1, 0xF9), ascii(0x20, 0x7E), coin(0, 1);
    std::vector<string> pieces(kBytes / kPiece);
    for (string& piece : pieces) {
        while (piece.size() < kPiece) {
            if (chinese && coin(random) && piece.size() + 2 <= kPiece) {
                piece += static_cast<char>(lead(random));
                piece += static_cast<char>(trail(random));
            } else {
                piece += static_cast<char>(ascii(random));
            }
        }
    }
    return pieces;
}

string Join(std::vector<string> const& pieces) {
    string whole;
    for (string const& piece : pieces) whole += piece;
    return whole;
}

void Bytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void ToWide(benchmark::State& state, bool chinese) {
    string const text = Join(MakePieces(chinese));
    bench::Check(qk3d::WideToAnsi(qk3d::AnsiToWide(text, "chs"), "chs") == text, "text there and back");
    for (auto _ : state) benchmark::DoNotOptimize(qk3d::AnsiToWide(text, "chs"));
    Bytes(state, text.size());
}

void ToWideInPieces(benchmark::State& state) {
    auto const pieces = MakePieces(true);
    for (auto _ : state) {
        for (string const& piece : pieces) benchmark::DoNotOptimize(qk3d::AnsiToWide(piece, "chs"));
    }
    Bytes(state, kBytes);
}

void ToNarrow(benchmark::State& state) {
    wstring const text = qk3d::AnsiToWide(Join(MakePieces(true)), "chs");
    for (auto _ : state) benchmark::DoNotOptimize(qk3d::WideToAnsi(text, "chs"));
    Bytes(state, kBytes);
}

void ToNarrowInPieces(benchmark::State& state) {
    std::vector<wstring> pieces;
    for (string const& piece : MakePieces(true)) pieces.push_back(qk3d::AnsiToWide(piece, "chs"));
    for (auto _ : state) {
        for (wstring const& piece : pieces) benchmark::DoNotOptimize(qk3d::WideToAnsi(piece, "chs"));
    }
    Bytes(state, kBytes);
}

// The library call with a descriptor that is kept, from or to 16-bit units, into a buffer that is there already.
void OfLibrary(benchmark::State& state, bool narrow, bool inPieces) {
    std::vector<string> texts = MakePieces(true);
    if (!inPieces) texts = {Join(texts)};
    std::vector<char> out(kBytes * 2 + 16);
    auto const convert = [&out](iconv_t descriptor, string& text) {
        char* from = text.data();
        char* to = out.data();
        std::size_t fromLeft = text.size(), toLeft = out.size();
        bench::Check(iconv(descriptor, &from, &fromLeft, &to, &toLeft) == 0, "the library's conversion");
        return out.size() - toLeft;
    };
    iconv_t const toUnits = iconv_open("UTF-16LE", "CP936");
    iconv_t const toCodePage = iconv_open("CP936", "UTF-16LE");
    if (narrow) {
        for (string& text : texts) {
            std::size_t const size = convert(toUnits, text);
            text.assign(out.data(), size);
        }
    }
    for (auto _ : state) {
        for (string& text : texts) convert(narrow ? toCodePage : toUnits, text);
        benchmark::ClobberMemory();
    }
    iconv_close(toUnits);
    iconv_close(toCodePage);
    Bytes(state, kBytes);
}

void Copy(benchmark::State& state) {
    string const text = Join(MakePieces(false));
    string out(text.size(), '\0');
    for (auto _ : state) {
        std::memcpy(out.data(), text.data(), text.size());
        benchmark::ClobberMemory();
    }
    Bytes(state, text.size());
}

// What no way of widening can do without: the bytes of the wide text, written.
void Fill(benchmark::State& state) {
    wstring out(kBytes, L'\0');
    for (auto _ : state) {
        std::memset(out.data(), 1, out.size() * sizeof out[0]);
        benchmark::ClobberMemory();
    }
    Bytes(state, kBytes);
}

BENCHMARK_CAPTURE(ToWide, whole, true)->Name("text/to-wide/whole");
BENCHMARK(ToWideInPieces)->Name("text/to-wide/pieces");
BENCHMARK(ToNarrow)->Name("text/to-narrow/whole");
BENCHMARK(ToNarrowInPieces)->Name("text/to-narrow/pieces");
BENCHMARK_CAPTURE(OfLibrary, whole, false, false)->Name("text/iconv/whole");
BENCHMARK_CAPTURE(OfLibrary, pieces, false, true)->Name("text/iconv/pieces");
BENCHMARK_CAPTURE(OfLibrary, narrowWhole, true, false)->Name("text/iconv/narrow/whole");
BENCHMARK_CAPTURE(OfLibrary, narrowPieces, true, true)->Name("text/iconv/narrow/pieces");
BENCHMARK_CAPTURE(ToWide, ascii, false)->Name("text/ascii");
BENCHMARK(Copy)->Name("text/memcpy");
BENCHMARK(Fill)->Name("text/memset-wide");
} // namespace
