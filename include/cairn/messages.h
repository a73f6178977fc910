/* Messages: structured message records and message objects, their text
 * forms, and the one call through which the library and its callers print a
 * user-facing message. */
#ifndef CAIRN_MESSAGES_H
#define CAIRN_MESSAGES_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/** Destination flags of msg_print(). */
#define MSG_TO_STDOUT 0x1        /**< write to standard output */
#define MSG_TO_STDERR 0x2        /**< write to standard error */
#define MSG_LOG_MASK 0x278       /**< message-log destinations: posted, not printed */
#define MSG_FIRST_FORM 0x80      /**< standard error gets the short form of a numbered message */
#define MSG_CONSOLE_OR_LOG 0x100 /**< the console, or a log when there is none */

/** Argument descriptors of msg_print(): each argument after the format is
 *  a descriptor (int) followed by its value. */
#define MSG_ARG_TEXT 0     /**< const char *: plain text (NULL prints "null") */
#define MSG_ARG_NUMBER 1   /**< const char *: a number already written as text */
#define MSG_ARG_LITERAL 11 /**< const char *: "<id>:<text>", printed as the text */
#define MSG_ARG_NESTED 49  /**< const char *: a nested message in the buffer form, rendered */
#define MSG_ARG_OBJECT 52  /**< msg_t *: a message object, kept as its record (descriptor 49) */

/** Receives the rendered text of every message msg_print() handles. */
typedef void (*msg_callback_fn)(const char *text);

/**
 * Print a message.  The arguments after @p format are (descriptor, value)
 * pairs, one for each argument the format consumes; every value is text
 * (see MSG_ARG_*); a numeric conversion such as %d reads the text as a
 * number.
 *
 * With no time stamps wanted (need_timestamps() 0) and no log destination
 * in @p flags, the text goes straight to standard output (flag 1) and then
 * standard error (flag 2).  An unnumbered message (@p number 0) is written
 * as it is.  A numbered one is written as it is to standard output; on
 * standard error as "<number>:<program>: <text>", or as the text alone when
 * 0x80 is set; with the message-number switch on (environment variable
 * "BXR_FORCE_MSG_ID", or the debug-control setting "MsgID") both streams
 * get the long form.  Otherwise the message is posted to the logs.
 * A severity below 6 is a class in thousands (2 means 2000).
 * @return the result of the last direct write; 0 when the message was
 *         posted, nothing was written, or @p format is NULL.
 */
CAIRN_API int msg_print(int32_t number, uint32_t severity, uint32_t flags, const char *format, ...);

/** Install the message callback; NULL removes it. */
CAIRN_API void msg_callback_set(msg_callback_fn fn);

/* ------------------------------------------------------------------------
 * Structured message records
 *
 * A record keeps a message in a form that can be shown later: its id, the
 * format text ("form", printf conversions, positional ones included) and
 * the arguments the form consumes, each a descriptor and a text.  Records
 * travel as text in three forms: the buffer form ("<id> <form length>
 * <form>[ <count>( <descriptor> <length> <text>)...]"), an XML form, and
 * the rendered text followed by a blank and the buffer form.
 *
 * Ownership.  Everything returned is allocated with the C library's malloc
 * and freed by the caller (text with free(), records with
 * msg_structext_free(), objects with msg_free()) unless stated otherwise:
 *  - records made by msg_structext_new() and msg_vstructext_create() come
 *    from the calling thread's record pool (32 slots; 64 or 128 when
 *    "MSG_STRUCTURED_TEXT_POOL_SIZE" is at least 64 or 128 when the thread
 *    first uses messages) and live until the thread has made as many
 *    further pool records; keep one longer with msg_structext_copy();
 *  - message objects made by msg_create() and msg_vcreate() come from the
 *    calling thread's ring of 32 and live until the thread has made 32
 *    further ones; msg_copy() makes one the caller owns;
 *  - texts of msg_mlit_create() and msg_lit_create() live in the thread's
 *    ring of 200 literal buffers of 3072 bytes.
 * A thread's pool and rings are freed when the thread ends.
 * Running out of memory ends the process (as xmalloc()).
 * ------------------------------------------------------------------------ */

/** The id of an unused pool slot. */
#define MSG_UNUSED_ID ((uint32_t)-5)
/** Argument texts longer than this are cut in the buffer form. */
#define MSG_STBUF_ARG_MAX 2047
/** Size of one literal buffer, terminator included. */
#define MSG_LITERAL_SIZE 3072
/** Slots of the message object ring and of the literal ring. */
#define MSG_RING_SLOTS 32
#define MSG_LITERAL_SLOTS 200

/** One argument of a record. */
typedef struct structext_arg {
    int32_t desc; /**< descriptor (MSG_ARG_*, or a caller's own kind) */
    char *text;   /**< owned UTF-8 text */
} structext_arg;

/** A structured text record. */
typedef struct structext {
    uint32_t msgid;      /**< message id; 0: no catalogue entry; MSG_UNUSED_ID: unused slot */
    char *form;          /**< owned format text */
    int32_t argcount;    /**< arguments the form consumes, or 0 */
    structext_arg *args; /**< owned array of argcount entries */
    int32_t pooled;      /**< non-zero: a slot of a thread's record pool */
} structext;

/** The error code of a message object: the message number and the severity
 *  split into its three fields (severity 52013 gives 5, 2, 13). */
typedef struct msg_errcode {
    int32_t number;   /**< the message id */
    int32_t type;     /**< severity / 10000 */
    int32_t severity; /**< (severity / 1000) mod 10 */
    int32_t code;     /**< severity mod 1000 */
} msg_errcode;

/** A message object: error code, rendered text and record. */
typedef struct msg_t {
    msg_errcode err; /**< number and severity fields */
    char *text;      /**< owned rendered text */
    structext stext; /**< the record (not pooled) */
    int32_t in_ring; /**< non-zero: a slot of a thread's object ring */
} msg_t;

/** The facility with bit 0x800 set. */
CAIRN_API uint32_t mc_facility_id(uint32_t facility);
/** ((facility | 0x800) << 16) + number. */
CAIRN_API uint32_t mc_message_id(uint32_t facility, uint32_t number);

/**
 * A message object from the calling thread's ring (see Ownership).  The
 * arguments after @p form are, for each argument the form consumes, a
 * descriptor (int) and a pointer: text, or a msg_t * for MSG_ARG_OBJECT
 * (kept as its record's buffer form with MSG_ARG_NESTED).  A NULL pointer
 * is kept as descriptor 0 with the text "null", and a line naming the
 * message id is written to standard error.  The text is rendered at once.
 * @return the object; NULL for a NULL @p form.
 */
CAIRN_API msg_t *msg_create(int32_t id, uint32_t severity, const char *form, ...);
CAIRN_API msg_t *msg_vcreate(int32_t id, uint32_t severity, const char *form, va_list ap);
/** A message object from a copy of @p st, from the thread's ring; NULL for
 *  a NULL record or a record without form. */
CAIRN_API msg_t *msg_create_from_structext(uint32_t severity, const structext *st);
/** For "<id>:<text>": a message object whose record is the text after the
 *  ":" as a plain text with that id (msg_create_from_structext() with
 *  @p severity).  NULL without ":" or a decimal id. */
CAIRN_API msg_t *msg_create_from_mlit(uint32_t severity, const char *text);
/** A deep copy that the caller owns (free with msg_free()). */
CAIRN_API msg_t *msg_copy(const msg_t *msg);
/** Frees an object the caller owns.  An object of a ring has its contents
 *  freed and its slot marked unused (it must not be used again).  NULL is
 *  ignored. */
CAIRN_API void msg_free(msg_t *msg);

/** A pool record from parallel arrays: @p count descriptors and texts
 *  (a NULL text is kept as "null"); a count below 1 gives no arguments.
 *  NULL for a NULL form. */
CAIRN_API structext *msg_structext_new(uint32_t id, const char *form, int count,
                                       const int32_t *descs, const char *const *texts);
/** A pool record from (descriptor, pointer) pairs as msg_create(); the
 *  count is the form's. NULL for a NULL form. */
CAIRN_API structext *msg_vstructext_create(uint32_t id, const char *form, va_list ap);
/** Fill @p st (its old contents freed) as msg_vstructext_create() does.
 *  @return @p st; NULL for a NULL record or form (the record is then left
 *  as it was). */
CAIRN_API structext *msg_vstructext_populate(structext *st, uint32_t id, const char *form,
                                             va_list ap);
CAIRN_API structext *msg_structext_populate(structext *st, uint32_t id, const char *form, ...);
/** A deep copy that the caller owns. */
CAIRN_API structext *msg_structext_copy(const structext *st);
/** Frees a record and its contents; a pool record has its contents freed
 *  and its slot marked unused.  NULL is ignored. */
CAIRN_API void msg_structext_free(structext *st);
/** Frees the contents only and leaves an empty record (id kept). */
CAIRN_API void msg_structext_depopulate(structext *st);

/** Readable text of a record: the form with its arguments, descriptor 11
 *  as the text after ":", descriptor 49 parsed and rendered in place (up
 *  to 8 levels deep).  A record without arguments whose form consumes
 *  some is shown as its form.  NULL for NULL or a record without form. */
CAIRN_API char *msg_structext_render(const structext *st);

/** Buffer form; argument texts cut to MSG_STBUF_ARG_MAX bytes. */
CAIRN_API char *msg_structext_to_stbuf(const structext *st);
/** Parses the buffer form; NULL when malformed.  A count that does not
 *  match the form gives the form without arguments. */
CAIRN_API structext *msg_stbuf_to_structext(const char *text);
/** XML form. */
CAIRN_API char *msg_structext_to_xmlstr(const structext *st);
/** Parses the XML form; NULL when malformed. */
CAIRN_API structext *msg_xmlstr_to_structext(const char *text);
/** Non-zero when @p text holds both "<MSG" and "</MSG>". */
CAIRN_API int is_structext_xml(const char *text);
/** Rendered text, a blank, and the buffer form without the cut.
 *  @param rendered_len receives the rendered text's byte length. */
CAIRN_API char *msg_structext_to_stxdrbuf(const structext *st, size_t *rendered_len);
/** Parses the rendered-plus-buffer form whose rendered part is
 *  @p rendered_len bytes long; NULL when malformed. */
CAIRN_API structext *msg_stxdrbuf_to_structext(const char *text, size_t rendered_len);

/** "<id>:<text>" in the thread's literal ring (see Ownership), cut to fit. */
CAIRN_API char *msg_mlit_create(int32_t id, const char *text);
/** The literal for catalogue number @p id in the thread's literal ring.
 *  No catalogues are installed: the literal itself, cut to fit. */
CAIRN_API char *msg_lit_create(int32_t id, const char *literal);
/** Buffer form of "<id>:<text>": "<id> <length> <text>"; NULL without ":"
 *  or a decimal id. */
CAIRN_API char *msg_idlit_to_stbuf(const char *text);
/** Buffer form of a plain text: "0 <length> <text>", cut to
 *  MSG_STBUF_ARG_MAX bytes. */
CAIRN_API char *msg_string_to_stbuf(const char *text);
/** msg_string_to_stbuf() parsed at once (a record the caller owns). */
CAIRN_API structext *msg_string_to_structext(const char *text);

/* ------------------------------------------------------------------------
 * Message logs and posting
 *
 * Each log destination bit has its own file under the logs directory:
 *   MSG_LOG_MESSAGES (0x8)   "messages.log"
 *   MSG_LOG_DAEMON   (0x10)  "daemon.log"
 *   MSG_LOG_AUDIT    (0x20)  "audit.log"
 *   MSG_LOG_JOBS     (0x40)  "jobs.log"
 *   MSG_LOG_RENDERED (0x200) "rendered.log"
 * One line per message, appended with one write:
 *   <local ISO 8601 time> <program>[<pid>] <severity name>(<severity>) #<number>: <text>
 * ------------------------------------------------------------------------ */
#define MSG_LOG_MESSAGES 0x8
#define MSG_LOG_DAEMON 0x10
#define MSG_LOG_AUDIT 0x20
#define MSG_LOG_JOBS 0x40
#define MSG_LOG_RENDERED 0x200

/**
 * Choose the directory of the message logs: @p dir, or the application's
 * logs directory when NULL.  Logs open before are closed; each log file is
 * opened again on its next line.
 * @return 0; ENOENT's code (49) when no directory is known, the error of
 *         stat() otherwise (20's code for a non-directory), with the last
 *         error set.
 */
CAIRN_API int msg_log_open(const char *dir);
/** Close the open log files (an exit handler does it too); a later line
 *  opens its log again. */
CAIRN_API void msg_log_close(void);
/**
 * Post @p msg: one line (see above) in each message log that @p flags
 * selects.  With no log bit in @p flags (a message posted because time
 * stamps are wanted) the standard streams that bits 1 and 2 name get the
 * text after the debug prefix (time and program name), in the forms of
 * msg_print().  A log that cannot be used sends its lines to standard
 * error, with a notice the first time.  @return 0; 2 for a NULL @p msg
 * (last error errno 22).
 */
CAIRN_API int msg_post(uint32_t flags, const msg_t *msg);
/** The file name of log destination @p flag (one bit), or NULL with last
 *  error errno 22 when @p flag names no log. */
CAIRN_API const char *msg_log_name(uint32_t flag);

/* ------------------------------------------------------------------------
 * Errinfo records: message objects whose number is the composite error
 * number ((type * 10) + severity) * 1000 + code, with code 0..999,
 * severity 0..5 (0 info, 1 notice, 2 warning, 3 error, 4 severe,
 * 5 critical) and type 1..35; their severity fields hold the same split.
 * The error-type registry gives each code its text and severity.
 *
 * Per thread: the errinfo record that err_setall() fills (it belongs to
 * the thread and stays valid until the thread's next err_setall() or
 * err_set()), the saved-error slot of err_save() and the accrued error
 * chain.  All three are freed when the thread ends.
 * ------------------------------------------------------------------------ */

/** Argument descriptor of an errinfo text. */
#define MSG_ARG_ERRTEXT 24

/** A message number with its text, as err_move_to_varp() takes it. */
typedef struct err_varp {
    int32_t number; /**< composite message number */
    char *text;     /**< owned text (malloc), or NULL */
} err_varp;

/**
 * Register or replace error type @p type: codes 0..@p max_code, their
 * texts (@p texts, max_code + 1 entries; a NULL entry reads "") and
 * severities (@p severities, or NULL for all 0).  Everything is copied;
 * the name is cut to 127 characters.  A text "<number>:<text>" carries a
 * catalog number.  Meant for start-up: texts handed out before stay valid.
 * @return 0 (also for types above 35, which are ignored); 2 for a NULL
 *         @p name or @p texts; 31 for a type below 1 or @p max_code outside
 *         0..999; 53 when memory runs out.
 */
CAIRN_API int err_settype(int type, int max_code, const char *name, const char *const *texts,
                          const int *severities);
/** The name of error type @p type; "BXR" for an unregistered type and any
 *  type outside 1..34. */
CAIRN_API const char *err_type_name(int type);

/**
 * Add @p text to the calling thread's accrued error chain, when accrual is
 * on for the thread (see blow_err()) and @p text is not NULL: the chain
 * becomes "<text>->(<chain>)", newest first.  A text that would make the
 * chain's length plus 9 exceed 19456 bytes is dropped (debug line at level
 * 9 or trace bit 0x100).  When memory runs out the chain is kept and a
 * message says so on standard error.
 */
CAIRN_API void err_accrue(const char *text);

/**
 * Fill the calling thread's errinfo record: text @p text, or the text
 * looked up for (@p type, @p code) when NULL; severity @p severity, or the
 * looked-up one when 0.  Type 1 (errno) reads ox_strerror(code) with
 * severity 1 for errno 0, 3 for errno 4, 16, 108, 116, 117 and 138, else 5.
 * Other types read their tables; an unregistered type or a code out of
 * range gives "Unknown error" and severity 0.
 * @return the thread's record (do not free it); NULL when memory runs out.
 */
CAIRN_API msg_t *err_setall(int type, int severity, int code, const char *text);
/**
 * err_setall(type, thousands digit of @p code, @p code mod 1000, NULL),
 * then a message object (thread's ring) with the composed number, format
 * "%s" and the record's text as its argument: descriptor 11 when the text
 * carries a catalog number ("<number>:<text>"), else MSG_ARG_ERRTEXT.
 */
CAIRN_API msg_t *err_set(int type, int code);
/** A message object (thread's ring) numbered ((type * 10) + thousands
 *  digit of @p code) * 1000 + (@p code mod 1000), format "%s" with @p text
 *  (MSG_ARG_ERRTEXT).  NULL with last error errno 22 for a NULL @p text. */
CAIRN_API msg_t *err_setstr(int type, int code, const char *text);
/**
 * The composite number only, with the looked-up severity when @p severity
 * is 0.  For type 1 errno 16 is not among the errno values of severity 3
 * here, so err_setsev(1, 0, 16) is 15016 while err_setall(1, 0, 16, NULL)
 * composes 13016: the two differ on purpose.
 */
CAIRN_API int err_setsev(int type, int severity, int code);
/** A deep copy of @p rec that the caller owns (free with err_free());
 *  NULL for NULL. */
CAIRN_API msg_t *err_dup(const msg_t *rec);
/** A deep copy of @p rec that the caller owns, then @p rec is freed (as by
 *  err_free()); NULL for NULL. */
CAIRN_API msg_t *err_restore(msg_t *rec);
/**
 * Copy @p rec into the thread's saved-error slot and return the slot (it
 * belongs to the thread).  An occupied slot is freed first, with the debug
 * line "err_save: overwriting old tmperr <text>" at debug level 1 or trace
 * bit 1.  NULL @p rec changes nothing and returns NULL.
 */
CAIRN_API msg_t *err_save(const msg_t *rec);
/** Free a record: one the caller owns, an object of a ring (its slot is
 *  marked unused), or the thread's own record or saved slot (which are then
 *  empty).  NULL is ignored. */
CAIRN_API void err_free(msg_t *rec);
/** Print the record's text as a warning (severity class 2) to standard
 *  error through msg_print() with the record's number.
 *  @return msg_print()'s result; 0 for NULL. */
CAIRN_API int err_print(const msg_t *rec);
/** A message object (thread's ring) with @p pair's number, format "%s"
 *  and its text (MSG_ARG_ERRTEXT); then the text is freed with free() and
 *  cleared.  NULL for a NULL @p pair. */
CAIRN_API msg_t *err_move_to_varp(err_varp *pair);
/**
 * Switch error accrual on for the calling thread.  @return a message object
 * (thread's ring) numbered -10001 with format "%s" and the accrued chain,
 * or NULL when the chain is empty; with @p flag 1 the chain is then freed
 * and cleared.
 */
CAIRN_API msg_t *blow_err(int flag);

CAIRN_END_DECLS

#endif /* CAIRN_MESSAGES_H */
