#include "velmd/daemon/Daemon.h"
#include "velmd/settings/CommandLine.h"

int main(int argc, char** argv) {
    return velm::runDaemon(velm::CommandLine::read(argc, argv));
}
