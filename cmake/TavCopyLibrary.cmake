# To be called in the folder that defines <target>.
function(tav_copy_library target)
  get_target_property(library tav::tav TAV_LIBRARY)
  add_dependencies(${target} tav::tav)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${library}" "$<TARGET_FILE_DIR:${target}>"
    COMMENT "Copying tav.dll beside ${target}"
    VERBATIM)
endfunction()
