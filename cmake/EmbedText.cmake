# Makes a constant of a text file: cmake -DTEXT=file -DHEADER=path.h -DNAME=constant -DOUTPUT=file.cpp -P EmbedText.cmake
file(READ ${TEXT} text)
file(WRITE ${OUTPUT} "#include \"${HEADER}\"

namespace kestrel {

const char *const ${NAME} = R\"TEXT(${text})TEXT\";

} // namespace kestrel
")
