# The compile options of all our targets. Linked PRIVATE, so that a host does not get them.

add_library(telvora_options INTERFACE)
target_compile_features(telvora_options INTERFACE cxx_std_20)

if(TELVORA_DEVELOPER)
    target_compile_options(telvora_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
        -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wundef -Werror
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
        # With optimisation g++ 12 warns of an overlapping copy in "text" + std::to_string(number)
        # (GCC bug 105329).
        $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
endif()

if(TELVORA_SANITIZERS)
    target_compile_options(telvora_options INTERFACE
        -fsanitize=${TELVORA_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(telvora_options INTERFACE -fsanitize=${TELVORA_SANITIZERS})
endif()
