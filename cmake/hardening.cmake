# How what is shipped is built: src/, cli/, vreader/ and companions/ include this. What the linker
# and the compiler made of it is checked on the built files, tests/structure/check_hardening.py.
if(VANTOR_SANITIZE OR VANTOR_FUZZ)
    return() # their own checks take the place of these
endif()

add_compile_options(
    -fstack-protector-strong
    -fstack-clash-protection
    # A buffer that is not meant for it should not be on a thread's stack; hosts have small ones.
    -Wframe-larger-than=16384)
if(CMAKE_BUILD_TYPE MATCHES "Rel") # it needs the optimiser
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    add_compile_options(-mbranch-protection=standard)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    add_compile_options(-fcf-protection=full)
endif()
# Never nodlopen: hosts load the library at run time.
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)
