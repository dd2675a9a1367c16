# Warnings for the project's own code.
add_compile_options(-Wall -Wextra -Wno-unknown-pragmas -fvisibility=hidden
                    "$<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-fvisibility-inlines-hidden>"
                    "$<$<COMPILE_LANGUAGE:OBJCXX>:-Wno-subobject-linkage;-Wno-unused-parameter>"
                    "$<$<BOOL:${LUM_WERROR}>:-Werror>")
