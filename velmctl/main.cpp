#include "velmctl/commands/Program.h"

int main(int argc, char** argv) {
    return velm::runVelmctl(argc, argv);
}
