# The architecture in one place: a call for each subsystem, lowest first, with its classes in reading
# order and the subsystems whose headers it may include. scripts/check-layers.py reads this file and
# refuses an include that is not allowed here; each test program links its own subsystem and what that
# may use, and nothing else.

# trel_subsystem(NAME MAY_USE subsystem... LIBRARIES library... HEADERS header... CLASSES class...)
# makes the object library trel_NAME and sets TREL_CLOSURE_NAME to it and all that it stands on, and
# TREL_LIBRARIES_NAME to the libraries of other projects that these need. What needs such a library
# is left out of a program for another machine, which does not have it.
function(trel_subsystem name)
  cmake_parse_arguments(ARG "" "" "CLASSES;HEADERS;LIBRARIES;MAY_USE" ${ARGN})
  set(files "")
  foreach(header IN LISTS ARG_HEADERS)
    list(APPEND files src/${header}.h)
  endforeach()
  foreach(class IN LISTS ARG_CLASSES)
    list(APPEND files src/${class}.h src/${class}.cpp)
  endforeach()
  if(NOT files OR (ARG_LIBRARIES AND CMAKE_CROSSCOMPILING))
    return()
  endif()
  add_library(trel_${name} OBJECT ${files})
  target_link_libraries(trel_${name} PRIVATE trel_options)
  target_sources(trel_core PRIVATE $<TARGET_OBJECTS:trel_${name}>)
  source_group(${name} FILES ${files})
  set(closure ${name})
  set(libraries ${ARG_LIBRARIES})
  foreach(lower IN LISTS ARG_MAY_USE)
    list(APPEND closure ${TREL_CLOSURE_${lower}})
    list(APPEND libraries ${TREL_LIBRARIES_${lower}})
  endforeach()
  list(REMOVE_DUPLICATES closure)
  set(TREL_CLOSURE_${name} ${closure} PARENT_SCOPE)
  set(TREL_LIBRARIES_${name} ${libraries} PARENT_SCOPE)
endfunction()

# The root class, reports, reference counts, the pipeline of stages, lists, paths, clock and threads.
trel_subsystem(framework
  HEADERS trelObjectMacros trelFileNames trelInlining trelVector trelUntouchedTable
          trelUniformNumbers trelElementary trelStateArchive
  CLASSES trelObject trelList trelProcessObject trelDataObject trelSimulationObject trelSource
          trelFilter trelTarget trelReader trelWriter trelText trelPaths trelClock trelThreads
          trelMemory trelTicker trelRunControl)

# Meshes as files hold them: vertices, triangles, tetrahedra and the faces between regions.
trel_subsystem(meshes
  MAY_USE framework
  HEADERS trelRecordArray trelFaceUnitNormal
  CLASSES trelMesh trelTriangleMesh trelOuterSurface trelTetrahedron)

# The mesh files: a reader a format.
trel_subsystem(mesh_files
  MAY_USE framework meshes
  HEADERS
  CLASSES trelMeshText trelMeshReader trelLineMeshReader trelTetrahedronReader trelAMReader
          trelNeutralReader trelOFFReader trelSURFReader trelSTLReader trelPlyHeader PlyFileReader
          trelPLYReader)

# Shapes: where a point lies, how far along a ray the boundary is, which points and cells they have.
trel_subsystem(geometry
  MAY_USE framework meshes mesh_files
  HEADERS trelCoordinates trelShapeTraits trelGeometryTolerance trelSlabSearch trelRayQuadratic trelChord
          trelMeshRecords trelFreeWalk trelTriangleCrossing trelSeenTriangles trelVoxelLists
  CLASSES trelGridWindow trelSurfaceElement trelShapeObject trelCube trelCylinder trelEllipsoid
          trelRectangle trelEllipse trelMeshPredicates trelAxisRay trelVoxelGrid
          trelVoxelTableBuilder trelVoxelTable trelSurfaceSlabs trelMeshCrossings trelMeshOrientation
          trelTraceableMesh trelMCTriangleMesh trelMCTetrahedron trelElementLocator trelShapeFactory)

# The physical model and all settings of a run: tissues, sources, detectors, spectra, packets.
trel_subsystem(model
  MAY_USE framework geometry
  HEADERS trelModelTypes trelLaunchContext trelPhysicsConstants trelBoxSearch trelPacketNumbers
  CLASSES trelModelFindings trelOpticalParameter trelSpectrum trelTissue trelTissueClaims
          trelTissueReach trelMedium trelTissueOverlap trelTissueMap trelLightSource trelDetector trelPlaneDetector
          trelFiberDetector trelObjectDisplay trelPhoton trelGridAxes trelScoringRegion
          trelSimulationParameter
          trelParameterValidation trelTissueTraps trelScaleTraps trelModelTraps)

# The parameter file (.trl) and how it becomes a model.
trel_subsystem(parameter_file
  MAY_USE framework geometry model
  HEADERS
  CLASSES trelParameterText trelModelIndex trelReadState trelKeywordAdvice trelKeywordSection
          trelSimulationPropertyBlock trelSourceProperty trelShapeLine trelSpectrumLine
          trelModelSection trelModelFaults trelSimulationParameterReader)

# The grids, their scoring and finishing, and the result files.
trel_subsystem(results
  MAY_USE framework geometry model
  HEADERS trelFlyTimes trelResultGetters trelAbsorbedTotals trelListedExit
  CLASSES trelGrid trelGridTable trelCellMeasures trelMeshSurface trelGridSet trelTimeTotals trelFluence
          trelMediumResult trelDetectorResult trelDetectorArrayResult
          trelSimulationResult trelStandardErrors trelBatchProjections trelCameraBatches
          trelBatchStatistics trelLedger trelLedgerBatches trelTemporaryFiles trelExitTable trelResultFileSet trelResultFile
          trelResultLabels trelResultBlocks trelSimulationResultWriter)

# The result file with axes, units and names, by the NetCDF library.
trel_subsystem(labelled_results
  MAY_USE framework geometry model results
  LIBRARIES netcdf md
  HEADERS
  CLASSES trelNetcdfFile trelTrialProcess trelNetcdfInput trelRunStateWriter trelRunStateReader
          trelRunRecord trelLabelledGrids trelLabelledBatches trelExitColumns trelLabelledExits trelLabelledExitReader
          trelLabelledSensitivity trelLabelledResultWriter)

# What the detectors outside of the medium see of its surface.
trel_subsystem(free_space
  MAY_USE framework geometry model results
  HEADERS
  CLASSES trelFreespaceFilter trelFreespacePinhole)

# The packets: random streams, launch, steps, boundaries, the parallel run and the imaging modes.
trel_subsystem(transport
  MAY_USE framework geometry model results
  HEADERS trelPacket trelPhaseFunction trelFresnel trelTransportRules trelPlainSteps trelPacketSteps
          trelPacketObserver trelPacketAudience trelPacketSupplier trelExactPacket trelExactSteps
  CLASSES trelRandomStream trelRandomNumbers trelTransportModel trelScoreTable trelPacketScores
          trelCellBorders trelExactScores trelPacketEvents trelDrawnSteps trelPacketGeometry trelExactLaunch
          trelThreadState trelMediumFilter trelMonteCarlo
          trelVarianceReductionMonteCarlo trelDiffuseVRMC trelBioluminescenceVRMC
          trelFluorescenceVRMC trelExactModel trelExactEvents trelEmissionPilot trelRunPlan
          trelPacketLanes trelLaneKernel trelErrorGoal trelTissuePaths trelExitRecorder trelPacketPath trelSensitivity
          trelExactMonteCarlo)

# A look at a model before it runs: what it is, and what is wrong with it.
trel_subsystem(check
  MAY_USE framework geometry model results transport
  HEADERS
  CLASSES trelMeshCheck trelTissueRelations trelTissueCut trelModelCheck trelCheckText)

# The stages in their order, and what the command line says.
trel_subsystem(driver
  MAY_USE framework model parameter_file results labelled_results free_space transport
          check
  CLASSES trelOpticalSimulationFilter trelDriver trelRunProgress trelReplayRun trelRunKeeper trelRunOrigin trelExitOrigin
          trelRunDriver trelRunMerge)
