# tavrin_copy_resources(TARGET): for a program that links the static library. Puts the resources where
# its code looks for them, share/tavrin/Resources beside the program, whenever the program is linked.
function(tavrin_copy_resources target)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM COMMAND
    ${CMAKE_COMMAND} -E copy_directory ${TAVRIN_RESOURCES} $<TARGET_FILE_DIR:${target}>/share/tavrin/Resources)
endfunction()
