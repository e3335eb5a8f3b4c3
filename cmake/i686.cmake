# 32-bit x86. Debian installs either the cross compiler or the multilib one,
# never both: take the one that is there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)

find_program(CONFIGAPI_I686_GXX i686-linux-gnu-g++)
if(CONFIGAPI_I686_GXX)
  set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
  set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
else()
  set(CMAKE_C_COMPILER gcc)
  set(CMAKE_CXX_COMPILER g++)
  set(CMAKE_C_FLAGS_INIT -m32)
  set(CMAKE_CXX_FLAGS_INIT -m32)
endif()

# The build machine runs what it builds, so tests need no emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR "")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(ENV{PKG_CONFIG_LIBDIR}
    /usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig)
