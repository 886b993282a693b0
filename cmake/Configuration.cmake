# The headers that say how the library was built, and the definitions with which its users must agree.
include(CheckTypeSize)

set(OSTREL_GENERATED_FOLDER ${PROJECT_BINARY_DIR}/generated)
set(OSTREL_INTERFACE_DEFINITIONS "")
if(OSTREL_TIME64)
  # On 64-bit targets both are 64 bits wide anyway, and these change nothing.
  set(OSTREL_INTERFACE_DEFINITIONS _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# The interface has `struct stat`, `timeval` and `timespec` in it.
set(CMAKE_REQUIRED_DEFINITIONS ${OSTREL_INTERFACE_DEFINITIONS})
list(TRANSFORM CMAKE_REQUIRED_DEFINITIONS PREPEND -D)
set(CMAKE_EXTRA_INCLUDE_FILES sys/types.h time.h)
foreach(type off_t time_t)
  string(TOUPPER ${type} name)
  check_type_size(${type} OSTREL_SIZEOF_${name}_${OSTREL_TIME64} LANGUAGE C)
  set(OSTREL_SIZEOF_${name} ${OSTREL_SIZEOF_${name}_${OSTREL_TIME64}})
endforeach()
unset(CMAKE_REQUIRED_DEFINITIONS)
unset(CMAKE_EXTRA_INCLUDE_FILES)

foreach(header IN LISTS OSTREL_ALL_GENERATED)
  configure_file(${PROJECT_SOURCE_DIR}/${header}.in ${OSTREL_GENERATED_FOLDER}/${header} @ONLY)
endforeach()
