// Print then parse gives the record back: a record is built from the fuzz
// bytes (cut at 0x01 bytes: the form, then one text per argument the form
// consumes, the descriptor from each text's first byte), written in the
// XML and rendered-plus-buffer forms and parsed again, which must give the
// same record; the buffer form gives it back with texts cut at 2047 bytes.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cairn/diagnostics.h"
#include "cairn/messages.h"

namespace {

std::string dump(const structext *st, size_t cut)
{
    if (st == nullptr)
        return "NULL";
    std::string s = std::to_string(st->msgid) + "|" + st->form;
    for (int i = 0; i < st->argcount; ++i)
        s += "|" + std::to_string(st->args[i].desc) + ":" +
             std::string(st->args[i].text).substr(0, cut);
    return s;
}

void check(structext *parsed, const std::string &want, size_t cut)
{
    if (dump(parsed, cut) != want)
        std::abort();
    msg_structext_free(parsed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 1)
            pieces.emplace_back();
        else if (data[i] != 0)
            pieces.back() += static_cast<char>(data[i]);
    }
    int count = get_formatted_args_num(pieces[0].c_str());
    if (count > 32)
        return 0;
    std::vector<int32_t> descs;
    std::vector<const char *> texts;
    for (int i = 0; i < count; ++i) {
        const std::string &t = i + 1 < static_cast<int>(pieces.size()) ? pieces[i + 1] : pieces[0];
        descs.push_back(t.empty() ? 0 : static_cast<signed char>(t[0]));
        texts.push_back(t.c_str());
    }
    uint32_t id =
        size >= 4 ? static_cast<uint32_t>(data[0] | data[1] << 8 | data[2] << 16 | data[3] << 24)
                  : 0;
    structext *st = msg_structext_copy(
        msg_structext_new(id, pieces[0].c_str(), count, descs.data(), texts.data()));
    const std::string whole = dump(st, std::string::npos);

    char *xml = msg_structext_to_xmlstr(st);
    check(msg_xmlstr_to_structext(xml), whole, std::string::npos);
    size_t len = 0;
    char *stxdr = msg_structext_to_stxdrbuf(st, &len);
    check(msg_stxdrbuf_to_structext(stxdr, len), whole, std::string::npos);
    char *stbuf = msg_structext_to_stbuf(st);
    check(msg_stbuf_to_structext(stbuf), dump(st, MSG_STBUF_ARG_MAX), MSG_STBUF_ARG_MAX);
    std::free(xml);
    std::free(stxdr);
    std::free(stbuf);
    msg_structext_free(st);
    return 0;
}
