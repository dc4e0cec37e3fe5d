/* Writes the letter x to standard output, in pieces of 64 KiB.
 *
 * usage: writer MEBIBYTES */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { piece_size = 65536, pieces_per_mebibyte = 16 };

static char piece[piece_size];

int main(int argc, char **argv)
{
    if (argc != 2) {
        return 2;
    }
    memset(piece, 'x', sizeof piece);
    const long pieces = strtol(argv[1], NULL, 10) * pieces_per_mebibyte;
    for (long i = 0; i < pieces; ++i) {
        size_t written = 0;
        while (written < piece_size) {
            const ssize_t count = write(STDOUT_FILENO, piece + written, piece_size - written);
            if (count <= 0) {
                return 1;
            }
            written += (size_t)count;
        }
    }
    return 0;
}
