// UTF-8 to 16-bit wide text: ox_utf8s_to_wcs against iconv (UTF-8 to
// UCS-2) on 1 MiB of ASCII and 1 MiB of mixed CJK text.
#include <iconv.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "cairn/text.h"

namespace {

constexpr std::size_t kTextSize = 1 << 20;

std::string repeat_to_size(const std::string &unit)
{
    std::string s;
    while (s.size() + unit.size() <= kTextSize)
        s += unit;
    return s;
}

const std::string &ascii_text()
{
    static const std::string text = repeat_to_size(
        "Backup of client host-07 saved set /var/lib/data: 1048576 files, level full. ");
    return text;
}

// Mostly three-byte characters, with ASCII punctuation and digits between.
const std::string &cjk_text()
{
    static const std::string text = repeat_to_size(
        "\xE3\x83\x90\xE3\x83\x83\xE3\x82\xAF\xE3\x82\xA2\xE3\x83\x83\xE3\x83\x97\xE5\xAE\x8C"
        "\xE4\xBA\x86: \xE3\x82\xAF\xE3\x83\xA9\xE3\x82\xA4\xE3\x82\xA2\xE3\x83\xB3\xE3\x83\x88 "
        "07, "
        "\xE4\xBF\x9D\xE5\xAD\x98\xE3\x82\xBB\xE3\x83\x83\xE3\x83\x88 \xE3\x83\x87\xE3\x83\xBC"
        "\xE3\x82\xBF\xE9\x9B\x86\xE5\x90\x88 1024. ");
    return text;
}

void library(benchmark::State &state, const std::string &text)
{
    std::vector<ox_wchar> out(text.size() + 1);
    for (auto _ : state) {
        size_t count = 0;
        ox_utf8s_to_wcs(out.data(), text.c_str(), out.size(), &count);
        benchmark::DoNotOptimize(count);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void iconv_peer(benchmark::State &state, const std::string &text)
{
    iconv_t cd = iconv_open("UCS-2LE", "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv_open failed");
        return;
    }
    std::vector<char> out(2 * (text.size() + 1));
    for (auto _ : state) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char *in = const_cast<char *>(text.data());
        size_t in_left = text.size();
        char *o = out.data();
        size_t out_left = out.size();
        iconv(cd, &in, &in_left, &o, &out_left);
        benchmark::DoNotOptimize(out_left);
        benchmark::ClobberMemory();
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_utf8s_to_wcs_ascii(benchmark::State &state) { library(state, ascii_text()); }
void BM_iconv_ascii(benchmark::State &state) { iconv_peer(state, ascii_text()); }
void BM_utf8s_to_wcs_cjk(benchmark::State &state) { library(state, cjk_text()); }
void BM_iconv_cjk(benchmark::State &state) { iconv_peer(state, cjk_text()); }

}  // namespace

// Case-insensitive search of a needle found at the end of 64 KiB of text
// that nearly matches everywhere: ox_stristr against glibc's strcasestr.
std::string near_miss_text()
{
    std::string s;
    while (s.size() < 64 * 1024)
        s += "backup-Client-07 ";
    return s + "BACKUP-CLIENT-08";
}

void BM_ox_stristr_near_misses(benchmark::State &state)
{
    std::string text = near_miss_text();
    for (auto _ : state)
        benchmark::DoNotOptimize(ox_stristr(text.c_str(), "backup-client-08"));
}

void BM_strcasestr_near_misses(benchmark::State &state)
{
    std::string text = near_miss_text();
    for (auto _ : state)
        benchmark::DoNotOptimize(strcasestr(text.c_str(), "backup-client-08"));
}

BENCHMARK(BM_ox_stristr_near_misses);
BENCHMARK(BM_strcasestr_near_misses);
BENCHMARK(BM_utf8s_to_wcs_ascii);
BENCHMARK(BM_iconv_ascii);
BENCHMARK(BM_utf8s_to_wcs_cjk);
BENCHMARK(BM_iconv_cjk);
