#pragma once

// Every public header of the library.

/// \namespace FileSystem
/// The library: paths, files and folders, data streams, zip archives, the
/// environment and the application's identity. Operations on the disk answer
/// by their results (false, empty, a sentinel), not by exceptions; the few
/// operations that throw say so.
///
/// \namespace FileSystem::StreamUtilities
/// The bases of the library's standard file streams.
///
/// \namespace Utilities
/// The shared value types: versions, flag sets, byte order, operating systems
/// and platforms, Unicode case mapping, the library's build facts.
///
/// \namespace Tools
/// Progress reporting of long operations.
///
/// \namespace Tools::Progress
/// The finer, second progress line of a progress receiver.

#include <FileSystem/environment/DynamicLibraryLinker.h>
#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/environment/WindowsRegistry.h>

#include <FileSystem/files/BackupStore.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/FileRemover.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/files/FileFormats.h>
#include <FileSystem/files/FileMetaData.h>
#include <FileSystem/files/FileTime.h>
#include <FileSystem/files/PosixFilePermissionFlag.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/files/TemporaryFile.h>
#include <FileSystem/files/SharedFolder.h>

#include <FileSystem/storage/FileSystem2.h>
#include <FileSystem/storage/FileSystem2Local.h>
#include <FileSystem/storage/FileSystem2Zip.h>
#include <FileSystem/storage/HandleObjectCore.h>
#include <FileSystem/storage/StorageSystem.h>
#include <FileSystem/storage/StorageSystemFile.h>
#include <FileSystem/storage/StorageSystemTypes.h>

#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/paths/PathMapper.h>

#include <FileSystem/process/ChildProcessControl.h>
#include <FileSystem/process/ParallelProcess.h>
#include <FileSystem/process/ParallelThread.h>
#include <FileSystem/process/ProcessDefinition.h>
#include <FileSystem/process/ProcessDefinitionIntelMPIWindows.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>
#include <FileSystem/process/ProcessDefinitionMPICHLinux.h>
#include <FileSystem/process/ProcessDefinitionMPIManager.h>
#include <FileSystem/process/ProcessDefinitionMPIOpenMPILinux.h>
#include <FileSystem/process/ProcessDefinitionMicrosoftMPIWindows.h>
#include <FileSystem/process/ShellHelpers.h>

#include <FileSystem/runtime/ArgumentHandlers.h>
#include <FileSystem/runtime/CommandLineArgumentParser.h>
#include <FileSystem/runtime/MathConsistency.h>
#include <FileSystem/runtime/OSSignalManager.h>
#include <FileSystem/runtime/OpTimer.h>
#include <FileSystem/runtime/Profiling.h>
#include <FileSystem/runtime/StructuredException.h>
#include <FileSystem/runtime/ThreadNames.h>

#include <FileSystem/tabular/BinaryCSVParser.h>
#include <FileSystem/tabular/CSVParser.h>
#include <FileSystem/tabular/CSVParserBase.h>
#include <FileSystem/tabular/TextFileParser.h>

#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/streams/DataStream.h>
#include <FileSystem/streams/DataStreamBase.h>
#include <FileSystem/streams/DataStreamContainer.h>
#include <FileSystem/streams/DataStreamEncryptedAdapter.h>
#include <FileSystem/streams/DataStreamFactory.h>
#include <FileSystem/streams/DataStreamTransactions.h>
#include <FileSystem/streams/DataStreamVersionObject.h>
#include <FileSystem/streams/TextDataStream.h>

#include <FileSystem/zip/ZipArchive.h>
#include <FileSystem/zip/ZipStream.h>

#include <FileSystem/utilities/BinaryTextEncoder.h>
#include <FileSystem/utilities/BinaryCrypter.h>
#include <FileSystem/utilities/BuildInfo.h>
#include <FileSystem/utilities/Endianness.h>
#include <FileSystem/utilities/Flags.h>
#include <FileSystem/utilities/LastError.h>
#include <FileSystem/utilities/OperatingSystem.h>
#include <FileSystem/utilities/Platform.h>
#include <FileSystem/utilities/StreamResetter.h>
#include <FileSystem/utilities/ToolProgress.h>
#include <FileSystem/utilities/Unicode.h>
#include <FileSystem/utilities/Version.h>
