# Generates constants from libvmaf's model: cmake -DMODEL=file.json -DOUTPUT=file.cpp -P EmbedModel.cmake
file(READ ${MODEL} text)
string(JSON vectors GET ${text} model_dict model)

function(numbers result key)
  string(JSON last LENGTH ${text} model_dict ${key})
  math(EXPR last "${last} - 1")
  foreach(i RANGE ${last})
    string(JSON number GET ${text} model_dict ${key} ${i})
    list(APPEND all ${number})
  endforeach()
  list(JOIN all ", " all)
  set(${result} ${all} PARENT_SCOPE)
endfunction()
numbers(slopes slopes)
numbers(intercepts intercepts)
numbers(clip score_clip)

file(WRITE ${OUTPUT} "#include \"quality/ModelFile.h\"

namespace kestrel::ModelFile {

const char *const vectors = R\"TEXT(${vectors})TEXT\";
const std::array<double, 7> slopes{${slopes}};
const std::array<double, 7> intercepts{${intercepts}};
const std::array<double, 2> scoreClip{${clip}};

} // namespace kestrel::ModelFile
")
