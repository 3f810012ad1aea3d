// Linked in place of _exit where coverage is counted: a process that ends by it, as the children of
// the tests and the interrupt handler do, would otherwise lose what it counted.

extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the linker's --wrap asks for
[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
}
