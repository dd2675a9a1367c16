# The fuzzers: XFuzzer.cpp or XFuzzer.mm, whose first inputs are in corpus/x.
set(lum_fuzzers_of_extension
  CertificateFuzzer.mm
  DecodersFuzzer.cpp
  IniFuzzer.cpp
  ItemsFuzzer.cpp
  ProfileFuzzer.cpp
  VersionsFuzzer.cpp)
set(lum_fuzzers_of_container
  PageFuzzer.cpp
  UnpackFuzzer.cpp
  WarningsFuzzer.cpp
  WorkerFuzzer.cpp)
set(lum_fuzzers_of_both
  JudgementFuzzer.cpp)
set(lum_fuzzers_of_release
  ReleaseFuzzer.cpp
  RootFuzzer.cpp
  SnapshotFuzzer.cpp
  TargetsFuzzer.cpp
  TimestampFuzzer.cpp)
set(lum_fuzzers ${lum_fuzzers_of_extension} ${lum_fuzzers_of_container} ${lum_fuzzers_of_both} ${lum_fuzzers_of_release})

# lum_fuzzer_name(RESULT SOURCE): the x of XFuzzer.cpp.
function(lum_fuzzer_name result source)
  string(REGEX REPLACE "Fuzzer\\.[a-z]+$" "" name "${source}")
  string(TOLOWER "${name}" name)
  set(${result} "${name}" PARENT_SCOPE)
endfunction()
