#include "tool/CommandLine.h"
#include "tool/terminal/StandardStreams.h"

int main(int argc, char** argv) {
  Tool::SecureStandardStreams();
  return Tool::FinishStandardOutput(Tool::Main(argc, argv));
}
