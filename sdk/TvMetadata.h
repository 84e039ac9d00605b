// The contract of the MIME dictionary, "TvMetadata.dll": from a stream's content to MIME types.
//
// A component loads the library at run time, calls the export "GetMimeTypeDictionary" and uses the objects through the
// virtual tables declared here. Neither table has a destructor, every operation has a fixed calling convention and
// lists are given back by an explicit operation, so library and caller may come from different compilers and run-time
// libraries.
//
// The order of the operations in each table is the contract, and there are no others: a library that can do more offers
// that by further exports. The source filter uses Detect and Matches, and the export DetectMimeTypes in place of Detect
// where it is there.
//
// The export is undecorated on x86 too, where calling conventions decorate names: a .def file does that.
//
//   extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() { return &g_dictionary; }
//   EXPORTS GetMimeTypeDictionary                                               (in the .def file)
//
// The library is loaded and freed for each detection: it must start nothing that outlives its last call, and leave
// nothing behind. Both bitnesses are separate libraries of the same name.
//
// MIME types are zero-terminated UTF-16, of the form "audio/mpeg". A component that compares them ignores case,
// parameters (from ';' on) and blanks.
//
// Threads: a dictionary may be used by several threads at once, a list by one. The caller's thread is in an apartment.
// Null arguments give null or false.  Errors: no operation may throw; out of memory gives null. (They aren't declared
// noexcept all the same: a caller that can catch what a faulty library throws then goes on, where noexcept would end
// its process.)
#pragma once

#include <objidl.h>

// An ordered list of MIME types, owned by whoever asked for it.
struct IMimeTypeList {
    virtual long STDMETHODCALLTYPE GetCount() = 0;

    // The zero-terminated MIME type at `index`, or null; valid until Destroy.
    virtual const wchar_t* STDMETHODCALLTYPE Item(long index) = 0;

    // Ends the list. Nothing of it may be used afterwards.
    virtual void STDMETHODCALLTYPE Destroy() = 0;
};

// For std::unique_ptr<IMimeTypeList, MimeTypeListDestroyer>.
struct MimeTypeListDestroyer {
    void operator()(IMimeTypeList* list) const noexcept { list->Destroy(); }
};

// The one dictionary of a library. It lives until the library is unloaded.
struct IMimeTypeDictionary {
    // The MIME types of the content of `stream`, most certain first. Uncertain ones are left out, because each type
    // costs a graph an attempt to connect. An empty list: no type that the library knows. Null: the stream failed or is
    // null.
    //
    // Judges by the content alone: the stream has no name. Leaves the seek pointer where it found it, also after a
    // failure, and keeps no reference. A stream whose size isn't known (Stat fails, or the size's top bit is set) may
    // be live: it is read from where it stands, at most 64 KiB, and its only seek is the one back. If a caller's stream
    // can't go back, the caller puts one in front of it that can, as the source filter does. Any other stream is read
    // from its beginning, and beyond the first 64 KiB only if it doesn't say that its seeks are expensive
    // (TKDS_STATE_SEEKS_READ_THROUGH). Ten seconds after the first byte, Detect begins no more reads and judges by what
    // has come.
    virtual IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) = 0;

    // The MIME types of a file name extension, written with or without its dot, the most usual first, or null.
    virtual IMimeTypeList* STDMETHODCALLTYPE FromExtension(const wchar_t* extension) = 0;

    // The usual file name extension of a MIME type, with its dot, or null; lives as long as the dictionary.
    virtual const wchar_t* STDMETHODCALLTYPE PreferredExtension(const wchar_t* mime) = 0;

    // All names of a type, the preferred one first, or null.
    virtual IMimeTypeList* STDMETHODCALLTYPE Aliases(const wchar_t* mime) = 0;

    // The preferred name of a type, or null; lives as long as the dictionary.
    virtual const wchar_t* STDMETHODCALLTYPE CanonicalName(const wchar_t* mime) = 0;

    // All types known, by their preferred names.
    virtual IMimeTypeList* STDMETHODCALLTYPE KnownTypes() = 0;

    // Whether the type is audio, video or a container of them.
    virtual bool STDMETHODCALLTYPE IsMedia(const wchar_t* mime) = 0;

    // Whether two MIME types denote the same type. `tableMime` comes from the caller's own table and may be any name of
    // its type ("audio/x-ogg" as well as "audio/ogg").
    virtual bool STDMETHODCALLTYPE Matches(const wchar_t* tableMime, const wchar_t* candidate) = 0;
};

inline constexpr wchar_t kTvMetadataLibrary[] = L"TvMetadata.dll";
inline constexpr char kGetMimeTypeDictionaryExport[] = "GetMimeTypeDictionary";

// The export's type. Null: the library has no dictionary.
using GetMimeTypeDictionaryFn = IMimeTypeDictionary*(STDMETHODCALLTYPE*)();

// Optional, for people who want to know why: the export "ExplainMimeTypes" detects as Detect does. It puts lines of
// text into `*explanation` that say which format was found, on what bytes, and what was ruled out. The caller destroys
// both lists. On failure both are null. `*result` is that of DetectMimeTypes. Both pointers may be null.
inline constexpr char kExplainMimeTypesExport[] = "ExplainMimeTypes";
using ExplainMimeTypesFn = IMimeTypeList*(STDMETHODCALLTYPE*)(IStream* stream, IMimeTypeList** explanation,
                                                              HRESULT* result);

// Optional, for callers that tell people what went wrong: the export "DetectMimeTypes" detects as Detect does.
// `*result`, which may not be null, receives S_OK; or S_FALSE where the source was so slow that less of it was looked
// at than usual. Where the list is null, it receives the reason: how the source failed, E_POINTER for a null stream, or
// E_OUTOFMEMORY.
inline constexpr char kDetectMimeTypesExport[] = "DetectMimeTypes";
using DetectMimeTypesFn = IMimeTypeList*(STDMETHODCALLTYPE*)(IStream* stream, HRESULT* result);
