# Cross build for 64-bit Windows with MinGW-w64 and the posix thread model. googletest needs
# std::mutex, which the win32 model lacks, and all libraries must use the same model.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)
# The ar and ranlib without "gcc" in their names cannot read objects for link-time optimisation.
set(CMAKE_AR ${triplet}-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB ${triplet}-gcc-ranlib-posix CACHE FILEPATH "")

# cmake/deps.sh installs zlib and jansson here.
set(TAV_DEPS_PREFIX "${CMAKE_CURRENT_LIST_DIR}/../build/deps/mingw"
    CACHE PATH "Prefix of the libraries built for MinGW")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAV_DEPS_PREFIX)

set(CMAKE_FIND_ROOT_PATH "${TAV_DEPS_PREFIX}" "/usr/${triplet}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# At run time, only DLLs that Windows ships may be needed.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Runs programs in the project's own Wine prefix.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/wine/run.sh")
