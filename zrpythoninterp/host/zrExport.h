#pragma once

/// Marks what the shared library offers to its users. The library itself is built with hidden
/// visibility and with ZR_BUILDING_LIBRARY defined; users define nothing. Code that links the
/// library's object files into itself defines ZR_STATIC.
#if defined(_WIN32)
#if defined(ZR_STATIC)
#define ZR_EXPORT
#elif defined(ZR_BUILDING_LIBRARY)
#define ZR_EXPORT __declspec(dllexport)
#else
#define ZR_EXPORT __declspec(dllimport)
#endif
/// The same for class templates, which every module instantiates for itself: they need one type
/// identity across modules where types have a visibility, and nothing elsewhere.
#define ZR_EXPORT_TEMPLATE
#else
#define ZR_EXPORT __attribute__((visibility("default")))
#define ZR_EXPORT_TEMPLATE __attribute__((visibility("default")))
#endif
