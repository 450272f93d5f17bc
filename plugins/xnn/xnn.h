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
 * - Where one function has both `length` and `text` (or `count` and `dims`), a call with text null writes the length,
 *   and a call with length null writes the text. With both it does both, with neither it fails.
 * - No function throws. One that fails leaves an exception text pending at the handle, in place of an earlier one,
 * which the caller asks for after the call and resets; the failed call itself changes nothing and answers 0, false or
 * null. The functions that ask for the pending text also take a null handle: they then tell why the last creation on
 * this thread failed, or that the last other function was given no handle. A creation that succeeds clears that.
 * - One handle is used by one thread at a time; several handles may be used at once.
 * - An index runs from 0 to below the number that the Number function of its family tells.
 * - An engine, a device, a network's identifier and a layer go by their names. Null, empty and unknown ones are
 * failures, and so is a question about the current network when there is none.
 */

#ifdef __cplusplus
extern "C" {
#endif

#ifdef _WIN32
#define XNN_API __declspec(dllexport)
#else
#define XNN_API __attribute__((visibility("default")))
#endif

/* The version of this interface, which xnnSelfVersion of a library that implements it tells. A caller that finds
 * another one warns and goes on. */
#define XNN_INTERFACE_VERSION "2025.06.23-8ad6a1c(x64)"

/* Loads a library from a full path. Null on failure. */
typedef void* (*XnnLibraryLoader)(const wchar_t* path);

/* Takes one line of the library's log, which is the caller's for the time of the call only. Called from any thread. */
typedef void (*XnnLogCallback)(const char* line);

/* ---- handles ---- */

/* A new handle, which the caller gives back to xnnDestory; null on failure. */
XNN_API void* xnnCreate(void);

/* The same. The loaders, which may be null, load what the library itself needs: the first from where the library lies,
 * the second also by the system's usual search. A library that finds its own needs by itself leaves them uncalled. */
XNN_API void* xnnCreateWithLibraryLoader(XnnLibraryLoader first, XnnLibraryLoader second);

/* Releases the handle, its networks and its log callback, which is not called any more once this has returned. Null is
 * ignored. Called from inside that callback it does not wait for the call that it is part of; the library must then
 * stay loaded until the process ends. */
XNN_API void xnnDestory(void* handle);

/* The version of the interface that the library implements, XNN_INTERFACE_VERSION of its header. */
XNN_API void xnnSelfVersion(void* handle, uint64_t* length, char* text);

/* The version of what the library computes with, for logs: free text on one line, e.g. "OpenVINO 2026.4.1". */
XNN_API void xnnVersion(void* handle, uint64_t* length, char* text);

/* ---- the pending exception ---- */

/* These four never fail. A text or length pointer that is null is ignored. */
XNN_API bool xnnHasException(void* handle);
XNN_API void xnnGetExceptionStringLength(void* handle, uint64_t* length);
XNN_API void xnnGetExceptionString(void* handle, char* text);
XNN_API void xnnResetExceptionString(void* handle);

/* ---- engines ---- */

/* How many engines there are, and for each index below that the length and the bytes of its name. */
XNN_API int xnnGetSupportEngineNumber(void* handle);
XNN_API int xnnGetSupportEngineLength(void* handle, int index);
XNN_API void xnnGetSupportEngine(void* handle, int index, char* name);

/* The devices that this machine has for `engine`, found out at the first question: names fit for the creation of a
 * network. An engine may take further ones that combine these, e.g. "AUTO". */
XNN_API int xnnGetSupportDeviceNumber(void* handle, const char* engine);
XNN_API int xnnGetSupportDeviceLength(void* handle, const char* engine, int index);
XNN_API void xnnGetSupportDevice(void* handle, const char* engine, int index, char* name);

/*
 * The properties that may be set for a network of `engine`. Index -1 writes their number to *count. For an index below
 * that, a call with name and type null writes the lengths of the property's name and of its type's name, and a call
 * with both buffers writes the texts. Pointers that an index does not use may be null. The types are
 * "std::filesystem::path" and "std::string".
 */
XNN_API void xnnGetEngineMutableProperties(void* handle, int* count, int index, int* nameLength, char* name,
                                           int* typeLength, char* type, const char* engine);

/* Sets a property of the network `identifier`, for the creation that follows: it is used up when that succeeds. `value`
 * is a wide text for the type "std::filesystem::path" and a UTF-8 text for "std::string", both terminated and copied
 * during the call. A type other than the property's own is a failure. A property that the device of the creation does
 * not know is dropped there with a line of log. */
XNN_API void xnnSetEnginePropertyForNetwork(void* handle, const char* engine, const char* identifier, const char* name,
                                            const char* type, const void* value);

/* ---- properties of devices ---- */

/* The properties that can be asked of a device: their number, and for each index the length and the bytes of its name.
 * Pointers may be null as in xnnGetEngineMutableProperties. */
XNN_API int xnnGetDeviceSupportPropertiesNumber(void* handle, const char* engine, const char* device);
XNN_API void xnnGetDeviceSupportPropertiesByIndex(void* handle, const char* engine, const char* device, int index,
                                                  int* length, char* name);

/* Which of the three functions below gives a property's value in its own type; 0 on failure. */
#define XNN_PROPERTY_STRING 1
#define XNN_PROPERTY_UNORDERED_MAP_STRING_FLOAT 2
#define XNN_PROPERTY_GENERAL 3
XNN_API int xnnGetDevicePropertyTypeID(void* handle, const char* engine, const char* device, const char* property);

/* The value of an XNN_PROPERTY_STRING. A value may change between two questions, so the text is the one whose length
 * was asked for last; without such a question about the same property it is a failure. */
XNN_API void xnnGetDevicePropertyTypeString(void* handle, const char* engine, const char* device, const char* property,
                                            uint64_t* length, char* text);

/* The value of an XNN_PROPERTY_UNORDERED_MAP_STRING_FLOAT. Index -1 writes the number of entries to *count. For an
 * index below that, the entry of the map that was counted last: its key's length, its key and its value, each where the
 * pointer is not null. */
XNN_API void xnnGetDevicePropertyTypeUnorderedMap_String_Float(void* handle, const char* engine, const char* device,
                                                               const char* property, int* count, int index,
                                                               int* keyLength, char* key, float* value);

/* The value of a property of any type as text; in two steps like xnnGetDevicePropertyTypeString. */
XNN_API void xnnGetDevicePropertyTypeGeneral(void* handle, const char* engine, const char* device, const char* property,
                                             uint64_t* length, char* text);

/* ---- models ---- */

/* The models that the library itself carries, and the names that xnnCreateNetByBuiltin takes for them. May be none. */
XNN_API int xnnGetSupportBuiltinModelNumber(void* handle);
XNN_API int xnnGetSupportBuiltinModelLength(void* handle, int index);
XNN_API void xnnGetSupportBuiltinModelID(void* handle, int index, char* id);

/* Gives the model in two files a name of the caller's, `innerID`, which xnnCreateNetByBuiltin then takes too. The files
 * are read by each creation, so they must exist here and then; `second` is null for a model of one file. An inner id
 * that is registered already is a failure. Not counted among the models that the library carries. */
XNN_API void xnnRegisterModelAsInnerIDwithString(void* handle, const char* innerID, const char* first,
                                                 const char* second);
XNN_API void xnnRegisterModelAsInnerIDwithWString(void* handle, const char* innerID, const wchar_t* first,
                                                  const wchar_t* second);

/* Takes the name back. Networks made from the model stay. */
XNN_API void xnnUnregisterInnerID(void* handle, const char* innerID);

/* The version of a model's format, told by the file that describes it, e.g. "11". The second function gives the text
 * whose length the first one wrote last, and fails when that was for another path or never. */
XNN_API void xnnGetPluginModelVersionLengthWithString(void* handle, const char* path, uint64_t* length);
XNN_API void xnnGetPluginModelVersionWithString(void* handle, const char* path, char* text);
XNN_API void xnnGetPluginModelVersionLengthWithWstring(void* handle, const wchar_t* path, uint64_t* length);
XNN_API void xnnGetPluginModelVersionWithWstring(void* handle, const wchar_t* path, char* text);

/* ---- networks ---- */

/* Creates the network `identifier` on `device` and makes it the current one. For the engine "OpenVINO" the first buffer
 * is the network's description and the second one its weights; both are read during the call only. A network of that
 * identifier is replaced. `second` is null, with size 0, for a network of one buffer; any other buffer that is null or
 * of size 0 is a failure. */
XNN_API void xnnCreateNetByBuffers(void* handle, const char* engine, const char* identifier, const char* device,
                                   const void* first, uint64_t firstSize, const void* second, uint64_t secondSize);

/* The same from files, of which `second` may be null; and from the id of a model that the library carries or an inner
 * id that was registered. */
XNN_API void xnnCreateNetByFiles(void* handle, const char* engine, const char* identifier, const char* device,
                                 const char* first, const char* second);
XNN_API void xnnCreateNetByFilesWithWstring(void* handle, const char* engine, const char* identifier,
                                            const char* device, const wchar_t* first, const wchar_t* second);
XNN_API void xnnCreateNetByBuiltin(void* handle, const char* engine, const char* identifier, const char* device,
                                   const char* id);

/* Releases a network. After the current one has gone there is none until a switch or a creation. */
XNN_API void xnnRemoveNetwork(void* handle, const char* identifier);

/* Makes a network the current one. Its layers hold what they held when another took its place. */
XNN_API void xnnSwitchNetwork(void* handle, const char* identifier);

/* The identifiers of the networks, the earliest made first; a replaced one keeps its place. */
XNN_API int xnnGetCreatedNetworkIdentifiersNumber(void* handle);
XNN_API int xnnGetCreatedNetworkIdentifierLength(void* handle, int index);
XNN_API void xnnGetCreatedNetworkIdentifier(void* handle, int index, char* identifier);

/* Engine and device of a network, as its creation was given them. */
XNN_API int xnnGetNetworkEngineLength(void* handle, const char* identifier);
XNN_API void xnnGetNetworkEngine(void* handle, const char* identifier, char* engine);
XNN_API int xnnGetNetworkDeviceLength(void* handle, const char* identifier);
XNN_API void xnnGetNetworkDevice(void* handle, const char* identifier, char* device);

/* The same of the current network, and its identifier. */
XNN_API int xnnGetCurrentEngineLength(void* handle);
XNN_API void xnnGetCurrentEngine(void* handle, char* engine);
XNN_API int xnnGetCurrentIdentifierLength(void* handle);
XNN_API void xnnGetCurrentIdentifier(void* handle, char* identifier);
XNN_API int xnnGetCurrentNetworkDeviceLength(void* handle);
XNN_API void xnnGetCurrentNetworkDevice(void* handle, char* device);

/* ---- layers of the current network: its inputs and outputs ---- */

/* The names, in the network's own order. An output whose full name is "NAME/sink_port_0" is listed as "NAME"; functions
 * that take a layer's name take both. */
XNN_API int xnnGetInputLayerNumber(void* handle);
XNN_API int xnnGetInputLayerLength(void* handle, int index);
XNN_API void xnnGetInputLayer(void* handle, int index, char* layer);
XNN_API int xnnGetOutputLayerNumber(void* handle);
XNN_API int xnnGetOutputLayerLength(void* handle, int index);
XNN_API void xnnGetOutputLayer(void* handle, int index, char* layer);

/* With dims null, writes the number of dimensions to *count; else fills in the dimensions. */
XNN_API void xnnGetLayerDims(void* handle, const char* layer, uint64_t* dims, uint64_t* count);

/* What the layer's data is here, whatever the network computes in: "FP32". */
XNN_API void xnnGetLayerPrecision(void* handle, const char* layer, uint64_t* length, char* text);

/* Input for the next inference, copied during the call: as many floats as the dimensions multiply to, which must be as
 * many as the layer's own do. Fails for an output. Input that is not set again is inferred again. */
XNN_API void xnnSetLayerData(void* handle, const char* layer, const float* data, const uint64_t* dims, uint64_t count);

/* The layer's floats, in the library's memory: valid until the next inference or until the network goes. */
XNN_API float* xnnGetLayerData(void* handle, const char* layer);

/* One inference of the current network; returns when it has ended. */
XNN_API void xnnInfer(void* handle);

/* ---- log ---- */

/*
 * Where the library's log lines go, UTF-8 without a line end; null to stop. Returns when no call to an earlier callback
 * is under way, unless it is called from inside that callback. So neither this nor xnnDestory may be called with a lock
 * held that the callback takes. Calls come one at a time, from a thread of the library's own that holds no lock. Lines
 * wait for a callback that is slow, or not yet set; of too many the oldest are lost, and a line tells how many. Those
 * that still wait when the handle goes are lost too.
 */
XNN_API void xnnSetLogCallback(void* handle, XnnLogCallback callback);

#ifdef __cplusplus
}
#endif
