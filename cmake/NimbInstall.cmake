# What `cmake --install` puts where. Components: `development` (headers, static libraries, the package for
# find_package(Nimb)), `plugin` (the plug-in and the platform under it), `editor` (the same for editors, reporting what
# others end at, in lib/nimb) and `tool` (the program, with that one).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(nimb_headers "${CMAKE_INSTALL_INCLUDEDIR}/nimb")
set(nimb_package "${CMAKE_INSTALL_LIBDIR}/cmake/Nimb")

# nimb_install_headers(<folder> <header>...)
function(nimb_install_headers folder)
  list(TRANSFORM ARGN PREPEND "${CMAKE_SOURCE_DIR}/${folder}/")
  install(FILES ${ARGN} DESTINATION "${nimb_headers}/${folder}" COMPONENT development)
endfunction()

# nimb_install_targets(<export> <target>...): with a file of imported targets for the package.
function(nimb_install_targets export)
  install(TARGETS ${ARGN} EXPORT ${export}
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT plugin
    INCLUDES DESTINATION "${nimb_headers}")
  install(EXPORT ${export} NAMESPACE Nimb:: DESTINATION "${nimb_package}" COMPONENT development)
endfunction()

nimb_install_headers(Nimb NimbInterfaces.h NimbRefCount.h NimbAssert.h)
nimb_install_headers(NimbCore NimbComPtr.h NimbCrossPlatform.h NimbMeshReader.h Golomb.h EdgeBreaker.h)
nimb_install_headers(Authoring/Codec ByteWriter.h Mesh.h MeshPayload.h TextureTransform.h XtraAttributes.h)
nimb_install_headers(Authoring/Frame DeltaCodings.h EncodedFrame.h FrameEncoder.h FrameOptions.h)
nimb_install_headers(NimbClip nimb_clip.h)
set_target_properties(NimbAuthoring PROPERTIES EXPORT_NAME Authoring)
set_target_properties(NimbClip PROPERTIES EXPORT_NAME ClipAccess)  # Nimb::Clip writes and reads whole clips
nimb_install_targets(NimbTargets NimbCoreAbort NimbCoreReport NimbClip NimbAuthoring)
if(TARGET nimb_clip)
  install(TARGETS nimb_clip LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
endif()

if(TARGET NimbClipFiles)
  nimb_install_headers(Authoring/Scene Atlas.h FaceDifference.h Image.h MatchRule.h MeshSource.h SoundSource.h Warnings.h)
  nimb_install_headers(Authoring/Track TrackFrames.h)
  nimb_install_headers(Clip/Read ClipFrames.h)
  nimb_install_headers(Clip/Write AudioReader.h ClipEncoder.h ClipError.h KeyFrameReason.h TrackNote.h TrackOptions.h Mp4Writer.h)
  set_target_properties(NimbClipFiles PROPERTIES EXPORT_NAME Clip)
  set_target_properties(NimbMedia PROPERTIES EXPORT_NAME Media)
  set_target_properties(NimbSurface PROPERTIES EXPORT_NAME Surface)
  set_target_properties(NimbTrack PROPERTIES EXPORT_NAME Track)
  nimb_install_targets(NimbClipTargets NimbClipFiles NimbTrack NimbSurface NimbMedia)
endif()

if(TARGET NimbPlatformDesktop)
  nimb_install_headers(NimbUnityPluginML NimbUnityPluginML.h)
  nimb_install_targets(NimbPluginTargets NimbUnityPluginML NimbPlatformDesktop)
  install(TARGETS nimb_editor_plugin NimbPlatformDesktop LIBRARY DESTINATION lib/nimb COMPONENT editor)
elseif(TARGET NimbUnityPluginML)
  install(TARGETS NimbUnityPluginML LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT plugin)
endif()

if(TARGET nimb)
  install(TARGETS nimb RUNTIME DESTINATION bin COMPONENT tool)
  install(FILES "${CMAKE_SOURCE_DIR}/CHANGELOG.md" DESTINATION share/doc/nimb COMPONENT tool)
  # Where the tool looks for them: the plug-in finds the platform beside itself.
  install(TARGETS nimb_editor_plugin NimbPlatformDesktop LIBRARY DESTINATION lib/nimb COMPONENT tool)
  # The web player, if it has been built (target `web`).
  install(DIRECTORY "${NIMB_WEB_FOLDER}" DESTINATION share/nimb COMPONENT tool OPTIONAL FILES_MATCHING PATTERN "nimb-*")
endif()

if(NIMB_ASSERT_MODE STREQUAL "report")
  set(nimb_core_mode Report)
else()
  set(nimb_core_mode Abort)
endif()
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/NimbConfig.cmake.in" "${CMAKE_BINARY_DIR}/NimbConfig.cmake"
  INSTALL_DESTINATION "${nimb_package}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/NimbConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/NimbConfig.cmake" "${CMAKE_BINARY_DIR}/NimbConfigVersion.cmake"
  DESTINATION "${nimb_package}" COMPONENT development)
