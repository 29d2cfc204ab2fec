/* The start-up floor of whole_process.sh: links only libc, prints a line. */
#include <stdio.h>

int main(void) {
    puts("hello");
    return 0;
}
