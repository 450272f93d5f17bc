#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <wchar.h>

/*
 * The C interface of an inference library that the host loads at run time: "xnn.dll" on Windows, "libxnn.so" on Linux.
 * This header is all that such a library and its caller share; docs/plugins.md tells how they meet.
 *
 * Conventions
 * - Texts are UTF-8 and end with a zero byte where they go in. wchar_t has 16 bits on Windows (UTF-16) and 32 bits on
 *   Linux (UTF-32).
 * - A text that comes out is asked for twice: first its length, in bytes and without a terminator, then its bytes. The
 *   caller's buffer has at least that many; no terminator is written.
 * - No function throws. One that fails leaves an exception text pending at the handle, which the caller asks for after
 *   the call and resets; the failed call itself changes nothing and answers 0, false or null. The functions that ask
 *   for the pending text also take a null handle: they then tell why the last creation on this thread failed.
 * - One handle is used by one thread at a time; several handles may be used at once.
 */

#ifdef __cplusplus
extern "C" {
#endif

#ifdef _WIN32
#define XNN_API __declspec(dllexport)
#else
#define XNN_API __attribute__((visibility("default")))
#endif

/* Loads a library from a full path. Null on failure. */
typedef void* (*XnnLibraryLoader)(const wchar_t* path);

/* Takes one line of the library's log, which is the caller's for the time of the call only. Called from any thread. */
typedef void (*XnnLogCallback)(const char* line);

/* ---- handles ---- */

/* A new handle; null on failure. The loaders, which may be null, load what the library itself needs: the first from
 * where the library lies, the second also by the system's usual search. */
XNN_API void* xnnCreateWithLibraryLoader(XnnLibraryLoader first, XnnLibraryLoader second);

/* Releases the handle, its networks and its log callback, which is not called any more once this has returned. */
XNN_API void xnnDestory(void* handle);

/* The library's version. With text null, writes its length to *length; with length null, writes the text. */
XNN_API void xnnSelfVersion(void* handle, uint64_t* length, char* text);

/* ---- the pending exception ---- */

XNN_API bool xnnHasException(void* handle);
XNN_API void xnnGetExceptionStringLength(void* handle, uint64_t* length);
XNN_API void xnnGetExceptionString(void* handle, char* text);
XNN_API void xnnResetExceptionString(void* handle);

/* ---- engines ---- */

/* How many engines there are, and for each index below that the length and the bytes of its name. */
XNN_API int xnnGetSupportEngineNumber(void* handle);
XNN_API int xnnGetSupportEngineLength(void* handle, int index);
XNN_API void xnnGetSupportEngine(void* handle, int index, char* name);

/*
 * The properties that may be set for a network of `engine`. Index -1 writes their number to *count. For an index below
 * that, a call with name and type null writes the lengths of the property's name and of its type's name, and a call
 * with both buffers writes the texts. Pointers that an index does not use may be null. The types are
 * "std::filesystem::path" and "std::string".
 */
XNN_API void xnnGetEngineMutableProperties(void* handle, int* count, int index, int* nameLength, char* name,
                                           int* typeLength, char* type, const char* engine);

/* Sets a property of the network `identifier`, for the creation that follows. `value` is a wide text for the type
 * "std::filesystem::path" and a UTF-8 text for "std::string". */
XNN_API void xnnSetEnginePropertyForNetwork(void* handle, const char* engine, const char* identifier, const char* name,
                                            const char* type, const void* value);

/* ---- networks ---- */

/* Creates the network `identifier` on `device` and makes it the current one. For the engine "OpenVINO" the first buffer
 * is the network's description and the second one its weights; both are read during the call only. A network of that
 * identifier is replaced. */
XNN_API void xnnCreateNetByBuffers(void* handle, const char* engine, const char* identifier, const char* device,
                                   const void* first, uint64_t firstSize, const void* second, uint64_t secondSize);

/* ---- layers of the current network ---- */

/* With dims null, writes the number of dimensions to *count; else fills in the dimensions. */
XNN_API void xnnGetLayerDims(void* handle, const char* layer, uint64_t* dims, uint64_t* count);

/* Input for the next inference, copied during the call: as many floats as the dimensions multiply to. */
XNN_API void xnnSetLayerData(void* handle, const char* layer, const float* data, const uint64_t* dims, uint64_t count);

/* The layer's floats, in the library's memory: valid until the next inference or until the network goes. */
XNN_API float* xnnGetLayerData(void* handle, const char* layer);

/* One inference of the current network; returns when it has ended. */
XNN_API void xnnInfer(void* handle);

/* ---- log ---- */

/* Where the library's log lines go; null to stop. Returns when no call to an earlier callback is under way. */
XNN_API void xnnSetLogCallback(void* handle, XnnLogCallback callback);

#ifdef __cplusplus
}
#endif
