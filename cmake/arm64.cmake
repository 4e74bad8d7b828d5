# Builds for 64-bit Arm with Debian's cross compiler and the arm64 libraries of the same release.
# On an arm64 machine there is nothing to cross: the preset is the native build there.
if(CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL aarch64)
    return()
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_ASM_COMPILER aarch64-linux-gnu-gcc)

# Debian keeps the libraries of both architectures side by side; pkg-config has to be told which.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
find_program(VANTOR_CCACHE ccache)
if(VANTOR_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${VANTOR_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${VANTOR_CCACHE})
endif()
