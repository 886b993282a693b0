# Builds products in WORK_DIR against the packages that are unpacked in ROOT, and runs them and the packages' programs.
include(${CMAKE_CURRENT_LIST_DIR}/UsePackage.cmake)

set(HOST_PKG_CONFIG_PATH /usr/${LIBRARY_DIR}/pkgconfig)
file(MAKE_DIRECTORY ${WORK_DIR})
use_by_cmake(${ROOT}/usr ${WORK_DIR}/build)
use_by_pkgconfig(${ROOT} ${WORK_DIR}/product_pkgconfig)

set(ENV{LD_LIBRARY_PATH} ${ROOT}/usr/${LIBRARY_DIR})
file(GLOB tools ${ROOT}/usr/bin/*)
foreach(tool IN LISTS tools)
  run(${EMULATOR} ${tool} --help)
endforeach()
