// Marks the library's public interface. The shared library hides every other symbol.
#ifndef CFMETA_CFMETA_EXPORT_H_
#define CFMETA_CFMETA_EXPORT_H_

#if defined(CFMETA_BUILDING_LIBRARY)
#define CFMETA_API __attribute__((visibility("default")))
#else
#define CFMETA_API
#endif

#endif  // CFMETA_CFMETA_EXPORT_H_
