# For scripts that try an installed library of VERSION, with libraries in LIBRARY_DIR of its prefix, as products do.
# The environment names compiler and linker flags as usual (CC, CXX, LDFLAGS); EMULATOR runs what they make.
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

set(PRODUCT_DIR ${CMAKE_CURRENT_LIST_DIR}/../tests/package)

function(expect text)
  if(NOT output STREQUAL "${text}\n")
    message(FATAL_ERROR "expected ${text}, but it says: ${output}")
  endif()
endfunction()

# Builds the small product in FOLDER against what is below PREFIX, and runs its programs.
function(use_by_cmake prefix folder)
  run(${CMAKE_COMMAND} -S ${PRODUCT_DIR} -B ${folder} -G Ninja -DOSTREL_VERSION=${VERSION}
    -DCMAKE_PREFIX_PATH=${prefix} -DOSTREL_INCLUDE_DIR=${prefix}/include/libostrel)
  run(${CMAKE_COMMAND} --build ${folder})
  set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBRARY_DIR})
  foreach(program product product_static)
    run(${EMULATOR} ${folder}/${program})
    expect("gateway.local:8080")
  endforeach()
  run(${EMULATOR} ${folder}/product_c)
  run(${EMULATOR} ${folder}/product_interface)
  run(${EMULATOR} ${folder}/product_unload ${prefix}/${LIBRARY_DIR}/libostrel.so)
  run(${EMULATOR} ${folder}/product_version)
  expect("${VERSION} ${VERSION} ${VERSION}")
endfunction()

# Builds PROGRAM by pkg-config alone against what is in the usr/ of a sysroot, and runs it. Its folder stands before
# the paths once, not twice. What the library needs is in the sysroot or below HOST_PKG_CONFIG_PATH.
function(use_by_pkgconfig sysroot program)
  set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/${LIBRARY_DIR}/pkgconfig:${HOST_PKG_CONFIG_PATH})
  run(pkg-config --modversion libostrel)
  expect("${VERSION}")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
  run(pkg-config --cflags --libs libostrel)
  string(STRIP "${output}" flags)
  separate_arguments(flags)
  string(REPLACE "${sysroot}/usr/" "SYSROOT/" told "${flags}")
  if(NOT told MATCHES "-ISYSROOT/include/libostrel;.*-LSYSROOT/${LIBRARY_DIR};-lostrel$" OR told MATCHES "SYSROOT/[^;]*SYSROOT")
    message(FATAL_ERROR "pkg-config says ${flags}")
  endif()
  set(compiler c++)
  if(DEFINED ENV{CXX})
    set(compiler $ENV{CXX})
  endif()
  run(${compiler} -std=c++17 ${PRODUCT_DIR}/../../examples/read_setting.cpp -o ${program} ${flags} $ENV{LDFLAGS})
  set(ENV{LD_LIBRARY_PATH} ${sysroot}/usr/${LIBRARY_DIR})
  run(${EMULATOR} ${program})
  expect("gateway.local:8080")
  run(pkg-config --define-variable=prefix=/opt --variable=includedir libostrel)
  expect("/opt/include/libostrel")
endfunction()
