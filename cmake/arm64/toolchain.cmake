# Cross-building for 64-bit Arm with Debian's compiler and multiarch packages. What is built runs here under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)

# Libraries of the target only; packages that are the same on every architecture (headers, CMake files) lie beside
# them below /usr, so that nothing has to be re-rooted.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /usr/lib/x86_64-linux-gnu/cmake)
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_CURRENT_LIST_DIR}:/usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig")
