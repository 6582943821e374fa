#ifndef CORVANE_EXPORT_H
#define CORVANE_EXPORT_H

/* The library's interface: the shared library is built with every other symbol hidden, so a host
 * cannot link against its internals by accident. */
#if defined(__GNUC__) || defined(__clang__)
#define CORVANE_EXPORT __attribute__((visibility("default")))
#else
#define CORVANE_EXPORT
#endif

#endif /* CORVANE_EXPORT_H */
