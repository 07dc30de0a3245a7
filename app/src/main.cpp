#include "program/program.h"

int main(int argc, char** argv) {
    return orv::app::RunProgram(argc, argv);
}
