# Settings that every target of the project shares, as the interface target kvr-settings.

add_library(kvr-settings INTERFACE)

target_compile_options(kvr-settings INTERFACE -Wall -Wextra -Wshadow -Wconversion)
if(KVR_WERROR)
  target_compile_options(kvr-settings INTERFACE -Werror)
endif()

# Errors name files by their path from the root of the repository, and two builds in two folders
# give the same bytes. Coverage data needs the real paths, so there only the macros are mapped.
if(CMAKE_CXX_FLAGS MATCHES "--coverage")
  target_compile_options(kvr-settings INTERFACE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
else()
  target_compile_options(kvr-settings INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
endif()

# Hardening. _FORTIFY_SOURCE needs optimisation, and the sanitizers bring their own checks.
target_compile_options(kvr-settings INTERFACE -fstack-protector-strong -fstack-clash-protection
                                              -fvisibility=hidden -fvisibility-inlines-hidden)
target_compile_definitions(kvr-settings INTERFACE _GLIBCXX_ASSERTIONS)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i.86")
  target_compile_options(kvr-settings INTERFACE -fcf-protection)
endif()
target_link_options(kvr-settings INTERFACE -Wl,-z,relro,-z,now)
if(KVR_SANITIZE)
  target_compile_options(kvr-settings INTERFACE "-fsanitize=${KVR_SANITIZE}" -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
  target_link_options(kvr-settings INTERFACE "-fsanitize=${KVR_SANITIZE}")
else()
  target_compile_options(
    kvr-settings
    INTERFACE "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>" "$<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>")
  target_link_options(kvr-settings INTERFACE -Wl,--no-undefined)
endif()
