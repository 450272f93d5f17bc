# Puts beside the programs what they look for there: OpenVINO's libraries on Windows, and on both systems its plug-in
# for GPUs under the name by which zelhost recognises that a GPU can be used.

set(bin ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
file(MAKE_DIRECTORY ${bin})

function(zel_place source name)
  file(CREATE_LINK ${ZELHOST_OPENVINO_LIBS}/${source} ${bin}/${name} COPY_ON_ERROR)
endfunction()

if(WIN32)
  foreach(dll openvino openvino_c openvino_ir_frontend openvino_auto_plugin openvino_intel_cpu_plugin
              openvino_intel_gpu_plugin tbb12 tbbmalloc tbbbind_2_5)
    zel_place(${dll}.dll ${dll}.dll)
  endforeach()
  zel_place(openvino_intel_gpu_plugin.dll clDNNPlugin.dll)
else()
  zel_place(libopenvino_intel_gpu_plugin.so libclDNNPlugin.so)
endif()
