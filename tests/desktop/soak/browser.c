/* The cheapest browser that still tells: soak-browser LOG ID LINK appends "ID LINK" to LOG, as one line by one write, so
 * that the lines of several of them do not mix. The browser whose id ends in "Failing" does so. */
#include <fcntl.h>
#include <string.h>
#include <sys/uio.h>

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const int log = open(argv[1], O_WRONLY | O_APPEND | O_CREAT, 0644);
    char blank[] = " ";
    char end[] = "\n";
    const struct iovec parts[] = {
        {argv[2], strlen(argv[2])}, {blank, 1}, {argv[3], strlen(argv[3])}, {end, 1}};
    const size_t length = strlen(argv[2]) + strlen(argv[3]) + 2;
    if (writev(log, parts, 4) != (ssize_t)length)
        return 1;
    return strlen(argv[2]) > 7 && strcmp(argv[2] + strlen(argv[2]) - 7, "Failing") == 0 ? 3 : 0;
}
