/*
 * frontend.h --
 *
 *    The front end's own functions: the one way a process ends, the usage
 *    text and the fatal path of the event listener. Only the front end's
 *    sources (brakk.cpp, usage.cpp) and its tests include this header;
 *    handlers return a CommandResult instead of ending the process.
 */

#ifndef APPS_NET_DVS_FRONTEND_H
#define APPS_NET_DVS_FRONTEND_H

/* Ends the process with status after flushing standard output. */
[[noreturn]] void Brakk_Exit(int status);
/* Prints the usage text on standard output and ends the process with 0. */
[[noreturn]] void Usage_Print();
/* Prints a formatted message on standard error and ends the process with 255. */
[[noreturn]] void Panic(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif  // APPS_NET_DVS_FRONTEND_H
