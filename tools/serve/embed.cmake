# Writes the page into a C++ source as a byte array:
# cmake -DIN=page.html -DOUT=page.cpp -P embed.cmake
file(READ ${IN} hex HEX)
string(LENGTH "${hex}" n)
math(EXPR size "${n} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
file(WRITE ${OUT} "// Generated from ${IN}; do not edit.\nnamespace appletctl {\nextern const char* const kLivePage;\nextern const unsigned long kLivePageSize;\nstatic const unsigned char kBytes[] = {\n${bytes}0};\nconst char* const kLivePage = reinterpret_cast<const char*>(kBytes);\nconst unsigned long kLivePageSize = ${size};\n}  // namespace appletctl\n")
