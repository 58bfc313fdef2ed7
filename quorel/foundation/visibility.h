// What a shared library of the SDK shows: nothing but what its public headers mark.
//
// The rooms are compiled with hidden visibility. A class or a function with code in a .cpp carries the macro of its room
// (QUOREL_FOUNDATION_API and its like, from the generated export.h beside the room's headers); it exports where the room
// is built and imports elsewhere. A type that is wholly in its header, a template or a declaration in advance carries
// QUOREL_VISIBLE: it has no code of its own to export, but its type information must be the same everywhere, or an
// exception thrown in one library would not be caught in another.
//
// Where the rooms are static libraries, QUOREL_STATIC is defined, and all these macros are empty: a shared library of
// one's own that holds the rooms does not pass on their symbols. (Build with -DQUOREL_STATIC_EXPORTS=ON if it should.)
#pragma once

#if defined(QUOREL_STATIC)
#define QUOREL_VISIBLE
#elif defined(_WIN32)
#define QUOREL_EXPORT __declspec(dllexport)
#define QUOREL_IMPORT __declspec(dllimport)
#define QUOREL_VISIBLE
#else
#define QUOREL_EXPORT __attribute__((visibility("default")))
#define QUOREL_IMPORT QUOREL_EXPORT
#define QUOREL_VISIBLE [[gnu::visibility("default")]]
#endif
