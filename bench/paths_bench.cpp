// canon_dirsep with '/' on typical 60-byte paths against
// std::filesystem::path::lexically_normal.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cairn/paths.h"

namespace {

// About 60 bytes each; most need some work ("." / ".." / doubled or
// trailing separators), as paths typed or joined by programs do.
const std::vector<std::string> &typical_paths()
{
    static const std::vector<std::string> paths = {
        "/var/lib/backup/clients/host-042/index/./2021/06/21/chunk.dat",
        "/home/alice/projects/../documents/reports/q2//summary-final.txt",
        "/srv/storage/volumes/vol0007/savesets/12345/../12346/manifest/",
        "/usr/local/share/doc/package-name/examples/config/sample.conf",
        "/opt/product/etc/../logs/daemon/./2021-06-21T10-00-00.log.gz",
        "/mnt/nfs/export//home/bob/.cache/thumbnails/large/a1b2c3.png",
        "/data/archive/2020/12/31/../../../2021/01/01/full/backup.tar",
        "/tmp/session-8f2e/work/stage1/./stage2/./stage3/output.bin//",
    };
    return paths;
}

void BM_Canon_Cairn(benchmark::State &state)
{
    const auto &paths = typical_paths();
    char out[128];
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(canon_dirsep(paths[i].c_str(), out, '/'));
        benchmark::ClobberMemory();
        i = (i + 1) % paths.size();
    }
}
BENCHMARK(BM_Canon_Cairn);

void BM_Canon_FilesystemLexicallyNormal(benchmark::State &state)
{
    const auto &paths = typical_paths();
    std::size_t i = 0;
    for (auto _ : state) {
        std::filesystem::path normal = std::filesystem::path(paths[i]).lexically_normal();
        benchmark::DoNotOptimize(normal.native().data());
        i = (i + 1) % paths.size();
    }
}
BENCHMARK(BM_Canon_FilesystemLexicallyNormal);

}  // namespace
