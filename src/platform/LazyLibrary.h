// A shared library opened the first time one of its functions is wanted, for the big libraries
// that most runs never call (the defaults file, date texts): linked normally, each would cost
// its pages and relocations at every start.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace kelvora::platform {

class LazyLibrary {
public:
    // soname: the name the system loader knows, such as "libglib-2.0.so.0".
    explicit LazyLibrary(const char* soname)
        : soname_(soname), handle_(dlopen(soname, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) fail();
    }

    // The library stays loaded to the end: its functions may run in exit handlers.
    LazyLibrary(const LazyLibrary&) = delete;
    LazyLibrary& operator=(const LazyLibrary&) = delete;

    // Used as symbol<decltype(g_free)>("g_free"), so that the header's own declaration gives
    // the type.
    template <typename Function>
    Function* symbol(const char* name) const {
        void* found = dlsym(handle_, name);
        if (found == nullptr) fail();
        return reinterpret_cast<Function*>(found);
    }

private:
    // A library that was there when the program was built and is gone now leaves the program
    // as unable to go on as a missing one at start would; it says which, keeps what was
    // already printed, and stops without running exit handlers under threads still working.
    [[noreturn]] void fail() const {
        const char* reason = dlerror();
        std::fflush(nullptr);
        std::fprintf(stderr, "kelvora: cannot load %s: %s\n", soname_,
                     reason != nullptr ? reason : "unknown error");
        std::_Exit(EXIT_FAILURE);
    }

    const char* soname_;
    void* handle_;
};

}  // namespace kelvora::platform
