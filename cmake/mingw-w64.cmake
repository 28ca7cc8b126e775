# Cross-build for 64-bit Windows with Debian's mingw-w64 (posix thread model,
# which std::thread in the tests needs):
#   cmake -S . -B build-windows -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QM_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QM_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QM_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${QM_MINGW_PREFIX}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QM_MINGW_PREFIX})
# Programs (the host compiler, wine) come from the build machine; libraries
# and headers only from the target's root.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
