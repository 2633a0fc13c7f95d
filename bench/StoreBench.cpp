// StoreBench.cpp: 100,000 small files out of one package and out of memory, by name and in random order.
//
// With QK3D_BENCH_PACKAGE=FILE the package of stored files is written there and stays, for other tools to be timed on.
#include "Bench.h"

#include "QK3DMemFileSystem.h"
#include "QK3DPackageFileSystem.h"
#include "TestZip.h"
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <zlib.h>

namespace {
using qk3d::string;
namespace fs = std::filesystem;

constexpr std::size_t kCount = 100'000;

// One raw deflate stream, packed as tightly as by qk3d-pack.
string Deflate(string& text) {
    z_stream stream{};
    bench::Check(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK,
                 "a stream to deflate");
    string out(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    bench::Check(deflate(&stream, Z_FINISH) == Z_STREAM_END, "a deflated file");
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

// The same files as text, as a package of stored ones and as one of deflated ones.
struct Files {
    Files() {
        auto random = bench::MakeRandom();
        std::uniform_int_distribution<int> lines(1, 20), number(0, 9999);
        std::vector<TestZipEntry> stored(kCount), deflated(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            string text = "{\n";
            for (int line = lines(random); line > 0; --line)
                text += "    \"Value" + std::to_string(line) + "\": [" + std::to_string(number(random)) + ", " +
                        std::to_string(number(random)) + "],\n";
            text += "    \"Number\": " + std::to_string(i) + "\n}\n";
            names.push_back("data\\part" + std::to_string(i / 500) + "\\file" + std::to_string(i) + ".json");
            string inPackage = names.back();
            std::replace(inPackage.begin(), inPackage.end(), '\\', '/');
            stored[i].name = deflated[i].name = inPackage;
            stored[i].crc = deflated[i].crc = static_cast<std::int64_t>(
                crc32(0, reinterpret_cast<Bytef const*>(text.data()), static_cast<uInt>(text.size())));
            deflated[i].method = 8;
            deflated[i].size = static_cast<std::int64_t>(text.size());
            deflated[i].data = Deflate(text);
            bytes += text.size();
            stored[i].data = text;
            texts.push_back(std::move(text));
        }
        char const* const kept = std::getenv("QK3D_BENCH_PACKAGE");
        isKept = kept != nullptr;
        storedPackage = kept ? kept : Temporary("stored");
        deflatedPackage = Temporary("deflated");
        Write(storedPackage, stored);
        Write(deflatedPackage, deflated);

        order.resize(kCount);
        for (std::size_t i = 0; i < kCount; ++i) order[i] = i;
        std::shuffle(order.begin(), order.end(), random);
    }
    ~Files() {
        std::error_code ignored;
        if (!isKept) fs::remove(storedPackage, ignored);
        fs::remove(deflatedPackage, ignored);
    }

    std::vector<string> names, texts;
    std::vector<std::size_t> order; // in which they are read
    unsigned long long bytes = 0;
    string storedPackage, deflatedPackage;
    bool isKept;

private:
    static string Temporary(char const* kind) {
        auto const number = std::to_string(std::random_device()());
        return (fs::temp_directory_path() / ("qk3d-bench-" + number + "-" + kind + ".zip")).string();
    }
    static void Write(string const& path, std::vector<TestZipEntry> const& entries) {
        string const zip = MakeZip(entries);
        std::ofstream out(path, std::ios::binary);
        out.write(zip.data(), static_cast<std::streamsize>(zip.size()));
        bench::Check(static_cast<bool>(out.flush()), "a package on the disk");
    }
};

Files const& TheFiles() {
    static Files const files;
    return files;
}

// What heap the store and one file at a time take at the most, over what there was.
class CPeak {
public:
    void Look() { m_most = std::max(m_most, bench::GetHeapUse().bytes); }
    double PerFile() const { return static_cast<double>(m_most - m_before) / kCount; }

private:
    unsigned long long m_before = bench::GetHeapUse().bytes;
    unsigned long long m_most = m_before;
};

template <class Look>
unsigned long long ReadAll(qk3d::CFileSystem const& store, Look&& look) {
    Files const& files = TheFiles();
    unsigned long long sum = 0;
    for (std::size_t const i : files.order) {
        unsigned char* block = nullptr;
        unsigned long long const size = store.ReadFileAsBinary(files.names[i], &block);
        std::unique_ptr<unsigned char, decltype(&std::free)> const owner(block, &std::free);
        look(i, std::string_view(reinterpret_cast<char const*>(block), size));
        sum += size;
    }
    return sum;
}

void Time(benchmark::State& state, qk3d::CFileSystem const& store, CPeak peak) {
    Files const& files = TheFiles();
    ReadAll(store, [&](std::size_t i, std::string_view text) {
        bench::Check(text == files.texts[i], "a file out of a store");
        if (i % 1000 == 0) peak.Look(); // which walks the whole heap
    });
    for (auto _ : state)
        bench::Check(ReadAll(store, [](std::size_t, std::string_view) {}) == files.bytes, "all files of a store");
    state.counters["ns/file"] =
        benchmark::Counter(kCount * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytes/file"] = peak.PerFile();
}

void Package(benchmark::State& state, string Files::*package) {
    string const& path = TheFiles().*package;
    CPeak const peak;
    qk3d::CPackageFileSystem store;
    bench::Check(store.OpenPackage(path), "a package that opens");
    Time(state, store, peak);
}

void Memory(benchmark::State& state) {
    Files const& files = TheFiles();
    CPeak const peak;
    qk3d::CMemFileSystem store;
    for (std::size_t i = 0; i < kCount; ++i) {
        auto* const block = static_cast<unsigned char*>(std::malloc(files.texts[i].size()));
        std::copy(files.texts[i].begin(), files.texts[i].end(), block);
        bench::Check(store.WriteDataToNewFile(files.names[i], block, files.texts[i].size()), "a file in memory");
    }
    Time(state, store, peak);
}

void Open(benchmark::State& state) {
    string const& path = TheFiles().storedPackage;
    for (auto _ : state) {
        qk3d::CPackageFileSystem store;
        bench::Check(store.OpenPackage(path) && store.IsFileExist(TheFiles().names.back()), "a package that opens");
    }
    state.counters["ns/file"] =
        benchmark::Counter(kCount * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(Open)->Name("store/open")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Package, stored, &Files::storedPackage)->Name("store/package")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Package, deflated, &Files::deflatedPackage)
    ->Name("store/package/deflated")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Memory)->Name("store/memory")->Unit(benchmark::kMillisecond);
} // namespace
