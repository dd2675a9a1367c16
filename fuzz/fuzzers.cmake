# The fuzzers; NameFuzzer.cpp or NameFuzzer.mm, with its first inputs in corpus/NAME.
set(lum_fuzzers_of_extension ini items versions decoders certificate)
set(lum_fuzzers_of_container warnings page unpack)
set(lum_fuzzers_of_release root timestamp snapshot targets release)
set(lum_fuzzers ${lum_fuzzers_of_extension} ${lum_fuzzers_of_container} ${lum_fuzzers_of_release})

# lum_fuzzer_source(RESULT NAME): the source of the fuzzer.
function(lum_fuzzer_source result name)
  string(SUBSTRING ${name} 0 1 first)
  string(TOUPPER ${first} first)
  string(SUBSTRING ${name} 1 -1 rest)
  file(GLOB source "${PROJECT_SOURCE_DIR}/fuzz/${first}${rest}Fuzzer.*")
  set(${result} "${source}" PARENT_SCOPE)
endfunction()
