# Warnings, sanitizers and the platform headers: everything every target is compiled with.

find_package(Threads REQUIRED)

if(MSVC)
  add_compile_options(/W4 /WX /permissive- /utf-8 /EHsc)
else()
  add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual
                      -Wimplicit-fallthrough -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wthread-safety)
endif()

if(VANTOR_SANITIZE)
  add_compile_options(-fsanitize=${VANTOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VANTOR_SANITIZE})
endif()
if(VANTOR_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "Coverage is counted by clang; configure with the preset coverage")
  endif()
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

# The x87's excess precision would give other times than everywhere else.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86" AND NOT MSVC)
  add_compile_options(-msse2 -mfpmath=sse)
endif()

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
  # Programs and the component import system libraries only.
  if(MSVC)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  else()
    add_link_options(-static -static-libgcc -static-libstdc++)
  endif()
else()
  # What a thread has of its own lies there from the thread's start. Made at the first touch, as a library that is loaded
  # later has it otherwise, memory that has run out would end the host's process.
  add_compile_options(-ftls-model=initial-exec)
  # Where addresses have 32 bits, files may be longer all the same.
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
  endif()
  # COM and DirectShow declarations for the native build.
  find_path(WINDOWS_HEADERS strmif.h PATHS /usr/include/wine/wine/windows /usr/include/wine/windows
            NO_DEFAULT_PATH REQUIRED)
endif()
