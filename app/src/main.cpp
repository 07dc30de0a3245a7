#include <malloc.h>

#include "program/program.h"

int main(int argc, char** argv) {
    // Results of ports pass through buffers of some 100 KB up to 12 MB. By default each one's memory goes
    // back to the system, which clears it page by page before it is used again: a quarter of a test's time.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 128 << 20);
    return orv::app::RunProgram(argc, argv);
}
