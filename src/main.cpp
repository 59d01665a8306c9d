#include "cli/Commands.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

// A program that is started with one of its standard streams closed would get that number for the next
// file it opens, and write its texts into it.
void openStandardStreams()
{
    for (int descriptor = ::open("/dev/null", O_RDWR); descriptor >= 0;
         descriptor = ::open("/dev/null", O_RDWR))
        if (descriptor > STDERR_FILENO) {
            ::close(descriptor);
            return;
        }
}

} // namespace

int main(int count, char **words)
{
    openStandardStreams();
    return kestrel::runCommandLine(count, words);
}
