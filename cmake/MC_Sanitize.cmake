# MC_SANITIZE: comma-separated sanitizers for everything that is built, such as "address,undefined".
set(MC_SANITIZE "" CACHE STRING "Sanitizers to build with")
if(MC_SANITIZE)
  add_compile_options(-fsanitize=${MC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MC_SANITIZE})
endif()
