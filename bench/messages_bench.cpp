// Parsing the buffer form of a structured message of about 1 KiB (five
// arguments of about 190 bytes), by the library and by a peer that reads
// the same fields with sscanf and copies the texts into the same shape.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cairn/messages.h"

namespace {

std::string make_buffer()
{
    std::string arg(190, 'x');
    for (size_t i = 0; i < arg.size(); i += 7)
        arg[i] = ' ';
    structext st{};
    st.msgid = 0x08030007;
    st.form = const_cast<char *>("Job %s copied %s from %s to %s (%s)");
    st.argcount = 5;
    structext_arg args[5];
    for (auto &a : args)
        a = {0, arg.data()};
    st.args = args;
    char *text = msg_structext_to_stbuf(&st);
    std::string s = text;
    std::free(text);
    return s;
}

const std::string &buffer()
{
    static const std::string b = make_buffer();
    return b;
}

void BM_StbufParse_Cairn(benchmark::State &state)
{
    const char *text = buffer().c_str();
    for (auto _ : state) {
        structext *st = msg_stbuf_to_structext(text);
        benchmark::DoNotOptimize(st);
        msg_structext_free(st);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buffer().size()));
}
BENCHMARK(BM_StbufParse_Cairn);

char *copy(const char *p, int n)
{
    auto *s = static_cast<char *>(std::malloc(static_cast<size_t>(n) + 1));
    std::memcpy(s, p, static_cast<size_t>(n));
    s[n] = '\0';
    return s;
}

// The peer: the same fields read with sscanf, without the malformed-input
// checks of the library's parser.
structext *peer_parse(const char *text)
{
    int id = 0, form_len = 0, used = 0;
    if (std::sscanf(text, "%d %d %n", &id, &form_len, &used) != 2)
        return nullptr;
    auto *st = static_cast<structext *>(std::calloc(1, sizeof(structext)));
    st->msgid = static_cast<uint32_t>(id);
    st->form = copy(text + used, form_len);
    const char *p = text + used + form_len;
    int count = 0;
    if (std::sscanf(p, " %d%n", &count, &used) != 1 || count <= 0)
        return st;
    p += used;
    st->args = static_cast<structext_arg *>(
        std::calloc(static_cast<size_t>(count), sizeof(structext_arg)));
    st->argcount = count;
    for (int i = 0; i < count; ++i) {
        int desc = 0, len = 0;
        if (std::sscanf(p, " %d %d %n", &desc, &len, &used) != 2)
            break;
        st->args[i] = {desc, copy(p + used, len)};
        p += used + len;
    }
    return st;
}

void BM_StbufParse_Sscanf(benchmark::State &state)
{
    const char *text = buffer().c_str();
    for (auto _ : state) {
        structext *st = peer_parse(text);
        benchmark::DoNotOptimize(st);
        for (int i = 0; i < st->argcount; ++i)
            std::free(st->args[i].text);
        std::free(st->args);
        std::free(st->form);
        std::free(st);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buffer().size()));
}
BENCHMARK(BM_StbufParse_Sscanf);

}  // namespace
