// LocateBench.cpp: finding files in ten search folders of a thousand files each.
#include "Bench.h"

#include "QK3DMain.h"
#include "QK3DOSFileSystem.h"
#include "QK3DResourceManager.h"
#include "QK3DResourceSystem.h"
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {
using namespace qk3d;

constexpr int kFolders = 10;
constexpr int kFiles = 1'000;

// Ten folders with files of one byte, in the system's place for such things; gone when it goes.
class Folders {
public:
    Folders() : m_root(std::filesystem::temp_directory_path() / "qk3d-bench-locate") {
        for (int folder = 0; folder < kFolders; ++folder) {
            auto const path = m_root / ("folder" + std::to_string(folder));
            std::filesystem::create_directories(path);
            m_paths.push_back(path.string());
            for (int file = 0; file < kFiles; ++file) {
                std::ofstream(path / ("file" + std::to_string(folder) + "_" + std::to_string(file) + ".txt")) << 'x';
            }
        }
    }
    ~Folders() { std::filesystem::remove_all(m_root); }
    std::vector<std::string> const& GetPaths() const { return m_paths; }

private:
    std::filesystem::path m_root;
    std::vector<std::string> m_paths;
};

// Each iteration asks for all ten thousand files, or for as many that are nowhere.
void Locate(benchmark::State& state, std::string const& prefix, bool there) {
    Folders const folders;
    CResourceSystem* const resources = CQK3DMain::GetQK3DMain().CreateResourceSystem("bench");
    CResourceManager* const manager = resources->GetResourceManager("CMesh");
    auto* const files = static_cast<COSFileSystem*>(manager->GetFileSystem("OSFileSystem").GetPointer());
    for (std::string const& path : folders.GetPaths()) files->AddResourceDirPath(path);

    std::vector<std::string> names;
    for (int folder = 0; folder < kFolders; ++folder) {
        for (int file = 0; file < kFiles; ++file) {
            names.push_back(prefix + std::to_string(folder) + "_" + std::to_string(file) + ".txt");
        }
    }
    for (auto _ : state) {
        for (std::string const& name : names) {
            std::string path = name;
            bench::Check((manager->LocateResource(path) != nullptr) == there, "where a file is");
        }
    }
    state.SetItemsProcessed(state.iterations() * kFolders * kFiles);
    CQK3DMain::GetQK3DMain().DestroyResourceSystem("bench");
}

BENCHMARK_CAPTURE(Locate, hit, "file", true)->Name("locate/hit")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Locate, miss, "nothing", false)->Name("locate/miss")->Unit(benchmark::kMillisecond);
} // namespace
