# Turns a file into a C++ source holding its bytes unchanged.
# Called as: cmake -DIN=<file> -DOUT=<file.cpp> -DSYMBOL=<name> -P embed_resource.cmake
file(READ "${IN}" hex HEX)
string(LENGTH "${hex}" hexlen)
math(EXPR size "${hexlen} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," body "${hex}")
string(REGEX REPLACE "((0x..,){32})" "\\1\n" body "${body}")
file(WRITE "${OUT}.tmp"
"// Generated at build time from ${IN}; do not edit.\n#include <cstddef>\n
namespace quorin_engine {\nextern const unsigned char ${SYMBOL}[] = {\n${body}0x00};\nextern const std::size_t ${SYMBOL}_size = ${size};\n}\n")
file(RENAME "${OUT}.tmp" "${OUT}")
