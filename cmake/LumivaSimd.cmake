# NEON flags go only on the files that hold NEON code; the dispatcher and the reference
# code build for the baseline. On other hosts the NEON code compiles through SIMDe,
# which maps it onto the host's vector unit: LUMIVA_HOST_ISA picks that unit's level
# (native by default, so benchmarks compare like with like; empty for the baseline).
set(LUMIVA_HOST_ISA "native" CACHE STRING "-march value for the SIMD files on non-ARM hosts")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(arm|armv7.*)$")
  set(LUMIVA_SIMD_FLAGS -mfpu=neon)
elseif(LUMIVA_HOST_ISA)
  set(LUMIVA_SIMD_FLAGS -march=${LUMIVA_HOST_ISA})
else()
  set(LUMIVA_SIMD_FLAGS "")
endif()

if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(arm|armv7.*|aarch64)$")
  find_path(SIMDE_INCLUDE_DIR simde/arm/neon.h)
  if(NOT SIMDE_INCLUDE_DIR)
    message(FATAL_ERROR "SIMDe not found: install libsimde-dev")
  endif()
endif()

function(lumiva_simd_sources)
  if(LUMIVA_SIMD_FLAGS)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${LUMIVA_SIMD_FLAGS}")
  endif()
endfunction()
