// The version of the library in use.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    std::printf("%s\n", meldra3d::version());
    return 0;
}
// prints: 5.6.0.0
