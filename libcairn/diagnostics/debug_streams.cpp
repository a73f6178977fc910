// Opening, lending, forgetting and closing the debug streams.  The
// process stream is a plain process-wide variable; a thread's stream lives
// in its library record, which only that thread touches.
#include "diagnostics/debug_streams.hpp"

#include <atomic>

#include "cairn/diagnostics.h"
#include "diagnostics/debug_line.hpp"
#include "diagnostics/oxprint/output_path.hpp"
#include "frame/exit_cleanup.hpp"
#include "platform/thread_record.hpp"

namespace cairn {

FILE *g_process_debug_stream = nullptr;
bool g_process_debug_console = false;

namespace {

int g_process_borrowed = 0;

// An unbuffered append stream on `name`, so that every write reaches the
// file at once.
FILE *open_append(const char *name)
{
    FILE *fp = std::fopen(name, "a");
    if (fp != nullptr)
        std::setvbuf(fp, nullptr, _IONBF, 0);
    return fp;
}

bool is_empty(const char *name) { return name == nullptr || *name == '\0'; }

// The process stream that dfopen() opened is closed at exit (a lent one
// is only forgotten), once per tear-down of the exit handlers.
std::atomic<bool> g_close_registered{false};

void close_at_exit()
{
    g_close_registered.store(false);
    dfclose();
}

void close_process_stream_at_exit()
{
    if (!g_close_registered.exchange(true) && register_exit_cleanup(close_at_exit) != 0)
        g_close_registered.store(false);
}

}  // namespace

FILE *thread_debug_stream(bool *console)
{
    ThreadRecord *rec = thread_record_peek();
    if (rec == nullptr)
        return nullptr;
    if (console != nullptr)
        *console = rec->debug_console;
    return rec->debug_stream;
}

bool is_console_stream(FILE *stream)
{
    return stream != nullptr && oxprint::is_console(fileno(stream));
}

}  // namespace cairn

using namespace cairn;

extern "C" {

void dfopen(const char *name)
{
    if (g_process_debug_stream != nullptr && debug_wanted(1, 1))
        debugprintf("dfopen: Warning. An Outfile already exists. Simply ignore it.\n");
    if (is_empty(name)) {
        if (debug_wanted(2, 2))
            debugprintf("dfopen: filename is null ... \n");
        return;
    }
    // The stream open until now is dropped, not closed: its owner may still
    // write to it.
    g_process_debug_stream = open_append(name);
    g_process_debug_console = is_console_stream(g_process_debug_stream);
    if (g_process_debug_stream != nullptr)
        close_process_stream_at_exit();
    if (!debug_wanted(2, 2))
        return;
    if (g_process_debug_stream != nullptr)
        debugprintf("dfopen: Opened file %s for dprintf writing.\n", name);
    else
        debugprintf("dfopen: Unable to open file %s for writing.\n", name);
}

void dfopen_at_thread_level(const char *name)
{
    if (g_process_debug_stream != nullptr && debug_wanted(1, 1))
        debugprintf("dfopen_thread_level: DPRINTF process-level handle already exists. "
                    "Continue to create a thread-level handle.\n");
    if (is_empty(name)) {
        if (debug_wanted(2, 2))
            debugprintf("dfopen_thread_level: filename is null ... \n");
        return;
    }
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return;
    if (rec->debug_stream != nullptr && !rec->debug_borrowed) {
        if (debug_wanted(1, 1))
            debugprintf("dfopen_thread_level: Close the existing handle.\n");
        dfclose_at_thread_level();
    }
    rec->debug_stream = open_append(name);
    rec->debug_console = is_console_stream(rec->debug_stream);
    if (!debug_wanted(2, 2))
        return;
    if (rec->debug_stream != nullptr)
        debugprintf("dfopen_thread_level: Opened file %s for dprintf writing.\n", name);
    else
        debugprintf("dfopen_thread_level: Unable to open file %s for writing.\n", name);
}

void dfopen_use_existing_filehndl(FILE *fhp)
{
    if (fhp == nullptr) {
        if (debug_wanted(2, 2))
            debugprintf("dfopen_use_existing_filehndl: fhp is null ... \n");
        return;
    }
    dfclose();
    g_process_debug_stream = fhp;
    g_process_debug_console = is_console_stream(fhp);
    g_process_borrowed = 1;
}

void dfopen_use_existing_thread_filehndl(FILE *fhp)
{
    if (fhp == nullptr) {
        if (debug_wanted(2, 2))
            debugprintf("dfopen_use_existing_thread_filehndl: fhp is null. \n");
        return;
    }
    dfclose_at_thread_level();
    ThreadRecord *rec = thread_record();
    if (rec == nullptr)
        return;
    rec->debug_stream = fhp;
    rec->debug_console = is_console_stream(fhp);
    rec->debug_borrowed = 1;
}

FILE *dfopen_filehndl(void) { return g_process_debug_stream; }

FILE *dfopen_thread_filehndl(void) { return thread_debug_stream(); }

void dfopen_varp_reset(void)
{
    if (ThreadRecord *rec = thread_record_peek()) {
        rec->debug_stream = nullptr;
        rec->debug_borrowed = 0;
        rec->debug_console = false;
    }
}

void dfclose(void)
{
    FILE *fp = g_process_debug_stream;
    bool owned = !g_process_borrowed;
    // Forgotten before the close: a stream whose close failed is freed all
    // the same, so the failure report must not be written to it.
    g_process_debug_stream = nullptr;
    g_process_debug_console = false;
    g_process_borrowed = 0;
    if (fp != nullptr && owned && ox_fclose(fp) != 0 && debug_wanted(2, 2))
        debugprintf("dfclose: file stream close failed.\n");
}

void dfclose_at_thread_level(void)
{
    ThreadRecord *rec = thread_record_peek();
    if (rec == nullptr)
        return;
    FILE *fp = rec->debug_stream;
    bool owned = !rec->debug_borrowed;
    rec->debug_stream = nullptr;
    rec->debug_borrowed = 0;
    rec->debug_console = false;
    if (fp != nullptr && owned && ox_fclose(fp) != 0 && debug_wanted(2, 2))
        debugprintf("dfclose_thread_level: file stream close failed.\n");
}

}  // extern "C"
