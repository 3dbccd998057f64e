#pragma once

#include <cstddef>
#include <cstdio>

namespace Vorn {

// The bytes a read-only stdio stream already holds in its buffer, used in
// place instead of copied out by fread: glibc keeps that window in the FILE
// itself, exactly as its getc_unlocked macro reads it. Elsewhere the window
// is always empty and callers fall back to fread.
namespace StdioWindow {

// Null unless at least n bytes are buffered.
inline const unsigned char* peek(FILE* file, size_t n) {
#ifdef __GLIBC__
    if (static_cast<size_t>(file->_IO_read_end - file->_IO_read_ptr) >= n)
        return reinterpret_cast<const unsigned char*>(file->_IO_read_ptr);
#else
    (void)file;
    (void)n;
#endif
    return nullptr;
}

// Only after peek gave at least n bytes.
inline void consume(FILE* file, size_t n) {
#ifdef __GLIBC__
    file->_IO_read_ptr += n;
#else
    (void)file;
    (void)n;
#endif
}

}  // namespace StdioWindow
}  // namespace Vorn
