#include "failure.h"

#include <stdio.h>
#include <stdlib.h>

void fail(const char *what)
{
    perror(what);
    exit(1);
}
