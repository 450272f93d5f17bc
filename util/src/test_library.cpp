// Loaded by the tests.
extern "C" int util_test_library_answer() {
    return 42;
}
