# Hardening, as Debian's dpkg-buildflags hardens its own packages: the
# responder parses whatever a network client sends, so an overflow should
# end the process rather than hand over the camera.
#
#   -fstack-protector-strong     canaries in functions with local arrays
#   -D_FORTIFY_SOURCE=2          checked string and memory calls (needs -O)
#   -fstack-clash-protection     probes large stack frames (where supported)
#   -fcf-protection              control-flow protection on x86
#   -Wl,-z,relro -Wl,-z,now      read-only relocations; with BIND_NOW the
#                                whole GOT is read-only before main()
#   PIE                          the program itself is randomised too
#
# Off in the sanitizer and fuzz builds: the sanitizers bring checks of their
# own and their runtime intercepts the fortified calls. PSIA_HARDEN=OFF is
# for build systems that pass flags of their own (Buildroot's BR2_SSP_*,
# BR2_FORTIFY_SOURCE_*, BR2_RELRO_*); PSIA_BIND_NOW=OFF keeps partial RELRO
# (docs/performance.md has what binding at start-up costs a CGI request).
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported(LANGUAGES C CXX)

if(PSIA_HARDEN AND NOT PSIA_SANITIZE)
  add_compile_options(-fstack-protector-strong)
  # Only where the build type optimises: glibc's headers warn (here: fail)
  # without optimisation. Any _FORTIFY_SOURCE a compiler sets by default
  # is replaced, not redefined.
  set(psia_optimised $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>,$<CONFIG:MinSizeRel>>)
  add_compile_options($<${psia_optimised}:-U_FORTIFY_SOURCE> $<${psia_optimised}:-D_FORTIFY_SOURCE=2>)
  foreach(flag -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "PSIA_HAS${flag}" var)
    check_cxx_compiler_flag(${flag} ${var})
    if(${var})
      add_compile_options(${flag})
    endif()
  endforeach()
  add_link_options(-Wl,-z,relro)
  if(PSIA_BIND_NOW)
    add_link_options(-Wl,-z,now)
  else()
    add_link_options(-Wl,-z,lazy)  # whatever the toolchain's default
  endif()
endif()
