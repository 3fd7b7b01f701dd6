// A plugin without the library: what the compiler's own runtime leaves behind in a module that comes
// and goes, which on Windows is not nothing.

#include "Tests/Load/Plugin.h"

int UsePlugin(char const *, int, unsigned int) {
    try {
        throw 1;
    } catch (int) {
        return 0;
    }
}
