# Has CMake configure the project as for an Apple-silicon Mac, with the clang++ of this machine
# standing in for Apple's compilers (it has an Objective-C++ front end) and no program run or
# linked. Good for configuring and generating the Apple branch of the build; nothing built with
# it would run anywhere.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)

find_program(TALLOWBECK_STUB_COMPILER NAMES clang++ REQUIRED)
set(CMAKE_CXX_COMPILER ${TALLOWBECK_STUB_COMPILER})
set(CMAKE_OBJCXX_COMPILER ${TALLOWBECK_STUB_COMPILER})
# Checks compile but never link: there is no Mac linker here.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# CMake looks for this Mac tool when Objective-C++ is enabled; it is never run.
find_program(CMAKE_INSTALL_NAME_TOOL NAMES install_name_tool true REQUIRED)
