// A shared object that loads but is no membership client: it lacks the entry point.
extern "C" __attribute__((visibility("default"))) int GetSomethingElse() {
  return 0;
}
