#pragma once

// Symbols of the public interface; everything else in libtavo is hidden.
#if defined(_WIN32)
#if defined(TAVO_BUILDING_LIBRARY)
#define TAVO_EXPORT __declspec(dllexport)
#else
#define TAVO_EXPORT __declspec(dllimport)
#endif
#else
#define TAVO_EXPORT __attribute__((visibility("default")))
#endif
