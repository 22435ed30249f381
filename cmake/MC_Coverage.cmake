# MC_COVERAGE: counts the lines and branches that run, in everything that is built (g++).
option(MC_COVERAGE "Build with coverage counters" OFF)
if(MC_COVERAGE)
  # The code that guards exception specifications and static objects is the compiler's own and would
  # be counted as branches that no test reaches.
  # The bus has threads: counters that are not atomic lose counts, and may even come out negative,
  # which gcovr does not take.
  add_compile_options(--coverage -O0 -fprofile-update=atomic
                      -fno-enforce-eh-specs -fno-threadsafe-statics)
  add_link_options(--coverage)
endif()
