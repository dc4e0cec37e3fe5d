/* Keeps what a child writes: a bare loop of read calls of a given size into memory that doubles.
 *
 * usage: bare_capture READ_SIZE EXPECTED_BYTES PROGRAM [ARGUMENT...] */
#include "child.h"
#include "failure.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

struct text {
    char *memory;
    size_t length;
    size_t capacity;
};

static void make_room(struct text *text, size_t bytes)
{
    if (text->capacity - text->length >= bytes) {
        return;
    }
    text->capacity = text->capacity == 0 ? bytes : 2 * text->capacity;
    text->memory = realloc(text->memory, text->capacity);
    if (text->memory == NULL) {
        fail("memory");
    }
}

static struct text read_all(int descriptor, size_t read_size)
{
    struct text text = {NULL, 0, 0};
    for (;;) {
        make_room(&text, read_size);
        const ssize_t count = read(descriptor, text.memory + text.length, read_size);
        if (count == -1) {
            fail("read");
        }
        if (count == 0) {
            return text;
        }
        text.length += (size_t)count;
    }
}

int main(int argc, char **argv)
{
    if (argc < 4) {
        fputs("usage: bare_capture READ_SIZE EXPECTED_BYTES PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    const struct child child = start_program(argv + 3);
    const struct text text = read_all(child.output, (size_t)atol(argv[1]));
    wait_for_success(child.pid);
    const size_t expected = (size_t)atol(argv[2]);
    free(text.memory);
    return text.length == expected ? 0 : 1;
}
