#include <iostream>

int main(int argc, char** argv) {
  (void)argc;
  (void)argv;
  std::cout << "usage: vantor COMMAND [ARGS...]\n";
  return 0;
}
