#ifndef FAILURE_H
#define FAILURE_H

/* Ends the program with status 1 and a message that names what failed and the reason in errno. */
void fail(const char *what) __attribute__((noreturn));

#endif
