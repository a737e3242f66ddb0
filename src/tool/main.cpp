#include "tool/CommandLine.h"

int main(int argc, char** argv) {
  return Tool::Main(argc, argv);
}
