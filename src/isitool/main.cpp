// The program entry of isitool.

#include <cstdio>

#include "isitool/tool.h"

int main(int argc, char** argv) {
  return static_cast<int>(tavindex::RunTool(argc, argv, stdout, stderr));
}
