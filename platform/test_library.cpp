#ifdef _WIN32
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED
#endif

extern "C" int platformTestDependencyAnswer();

extern "C" EXPORTED int platformTestLibraryAnswer() {
    return platformTestDependencyAnswer() + 1;
}
