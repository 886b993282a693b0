# What every target of ours is compiled with. Checks are promised behaviour, so NDEBUG is taken back in each build.
add_library(ostrel_flags INTERFACE)
target_compile_options(ostrel_flags INTERFACE
  -Wall -Wextra -Wshadow $<$<COMPILE_LANGUAGE:C>:-Wpedantic> -UNDEBUG
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_compile_definitions(ostrel_flags INTERFACE _GNU_SOURCE)
target_link_libraries(ostrel_flags INTERFACE Threads::Threads)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC notes an ABI change of long gone releases on Arm; nothing of ours is linked with those.
  target_compile_options(ostrel_flags INTERFACE -Wno-psabi)
endif()
if(OSTREL_SANITIZE)
  target_compile_options(ostrel_flags INTERFACE
    -fsanitize=${OSTREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ostrel_flags INTERFACE -fsanitize=${OSTREL_SANITIZE})
endif()

# What a library that meets hostile bytes is compiled and linked with, as far as compiler and target know it.
if(OSTREL_HARDENING)
  include(CheckCXXCompilerFlag)
  set(candidates -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86|AMD64|i.86")
    list(APPEND candidates -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    list(APPEND candidates -mbranch-protection=standard)
  endif()
  foreach(option IN LISTS candidates)
    string(MAKE_C_IDENTIFIER "OSTREL_HAS${option}" known)
    check_cxx_compiler_flag(${option} ${known})
    if(${known})
      list(APPEND OSTREL_HARDENING_COMPILE_OPTIONS ${option})
    endif()
  endforeach()
  # The C library's own checks need an optimizing build.
  list(APPEND OSTREL_HARDENING_COMPILE_OPTIONS $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
  set(OSTREL_HARDENING_LINK_OPTIONS -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()
