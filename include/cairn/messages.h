/* Messages: the one call through which the library and its callers print a
 * user-facing message. */
#ifndef CAIRN_MESSAGES_H
#define CAIRN_MESSAGES_H

#include <stdint.h>
#include "cairn/export.h"

CAIRN_BEGIN_DECLS

/** Destination flags of msg_print(). */
#define MSG_TO_STDOUT 0x1   /**< write to standard output */
#define MSG_TO_STDERR 0x2   /**< write to standard error */
#define MSG_LOG_MASK 0x278  /**< message-log destinations: posted, not printed */
#define MSG_FIRST_FORM 0x80 /**< standard error gets the short form of a numbered message */
#define MSG_CONSOLE_OR_LOG 0x100 /**< the console, or a log when there is none */

/** Argument descriptors of msg_print(): each argument after the format is
 *  a descriptor (int) followed by its value. */
#define MSG_ARG_TEXT 0      /**< const char *: plain text (NULL prints "null") */
#define MSG_ARG_NUMBER 1    /**< const char *: a number already written as text */
#define MSG_ARG_LITERAL 11  /**< const char *: "<id>:<text>", printed as the text */
#define MSG_ARG_NESTED 49   /**< const char *: a nested message, printed as given */

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
CAIRN_API int msg_print(int32_t number, uint32_t severity, uint32_t flags,
                        const char *format, ...);

/** Install the message callback; NULL removes it. */
CAIRN_API void msg_callback_set(msg_callback_fn fn);

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
/** The file name of log destination @p flag (one bit), or NULL with last
 *  error errno 22 when @p flag names no log. */
CAIRN_API const char *msg_log_name(uint32_t flag);

CAIRN_END_DECLS

#endif /* CAIRN_MESSAGES_H */
