# MC_COVERAGE: counts the lines and branches that run, in everything that is built (g++).
option(MC_COVERAGE "Build with coverage counters" OFF)
if(MC_COVERAGE)
  # The code that guards exception specifications and static objects is the compiler's own and would
  # be counted as branches that no test reaches.
  add_compile_options(--coverage -O0 -fno-enforce-eh-specs -fno-threadsafe-statics)
  add_link_options(--coverage)
endif()
