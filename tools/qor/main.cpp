// qor: the command-line tool.
#include "tools/qor/commands.h"

int main(int argc, char** argv) { return tool::runCommandLine(argc, argv); }
