#ifdef _WIN32
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED
#endif

extern "C" EXPORTED int platformTestDependencyAnswer() {
    return 42;
}
