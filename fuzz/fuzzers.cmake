# The fuzzers; NAME_fuzzer.cpp or NAME_fuzzer.mm, with its first inputs in corpus/NAME.
set(lum_fuzzers_of_extension ini items versions decoders certificate)
set(lum_fuzzers_of_container warnings page unpack)
set(lum_fuzzers ${lum_fuzzers_of_extension} ${lum_fuzzers_of_container})

# lum_fuzzer_source(RESULT NAME): the source of the fuzzer.
function(lum_fuzzer_source result name)
  file(GLOB source "${PROJECT_SOURCE_DIR}/fuzz/${name}_fuzzer.*")
  set(${result} "${source}" PARENT_SCOPE)
endfunction()
