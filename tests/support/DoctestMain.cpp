#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include <cstdio>

int main(int argc, char** argv)
{
    // What a program has said must not be lost with its buffers when it crashes or is ended: run-test.sh
    // knows by the first line that it had started.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    return doctest::Context(argc, argv).run();
}
