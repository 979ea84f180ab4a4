// Fields of the server model owned by the system inventory.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_INVENTORY_FIELDS(X)                                      \
  /* the system-facts report, one field per labelled line */            \
  X(Text, ProductID, "")                                                \
  X(Text, PhysicalMemoryText, "")                                       \
  X(Text, PhysicalFreeText, "")                                         \
  X(Text, OSName, "")                                                   \
  X(Text, Processors, "")                                               \
  X(Text, SystemModel, "")                                              \
  X(Text, BIOSVersion, "")                                              \
  X(Text, InputLocale, "")                                              \
  X(Text, Manufacturer, "")                                             \
  X(Text, BootDevice, "")                                               \
  X(Text, OSVersion, "")                                                \
  X(Text, InstallDate, "")                                              \
  X(Text, BootTime, "")                                                 \
  X(Text, VirtualFree, "")                                              \
  X(Text, VirtualUsed, "")                                              \
  /* the operating system in a word, the processor from WMI */          \
  X(Text, OSWord, "")                                                   \
  X(Text, ProcessorName, "")                                            \
  X(Text, ProcessorSpeed, "")                                           \
  X(Text, ProcessorSocket, "")                                          \
  /* fields of the form that no step fills */                           \
  X(Text, ProcessorNumber, "")                                          \
  X(Text, MemoryTotal, "")                                              \
  X(int32_t, Use64, 0)                                                  \
  /* the report text, the command output and its lines */               \
  X(Text, CPUInfo, "")                                                  \
  X(Text, DOSBox, "")                                                   \
  X(TextList, List1, {})                                                \
  /* memory slots */                                                    \
  X(Texts<256>, Slots, {})                                              \
  X(int32_t, SlotCount, 0)                                              \
  X(int32_t, SimmCount, 0)                                              \
  /* caches and features from the memory tool */                        \
  X(Text, CacheL1, "")                                                  \
  X(Text, CacheL2, "")                                                  \
  X(Text, CacheL3, "")                                                  \
  X(int32_t, CacheSeen, 0)                                              \
  X(int32_t, HasMMX, 0)                                                 \
  X(int32_t, HasSSE, 0)                                                 \
  /* the processor module: type and speed */                            \
  X(int32_t, CPUType, 0)                                                \
  X(Text, CPUTypeText, "")                                              \
  X(Text, CPUDescription, "")                                           \
  X(Text, CPUMHz, "")                                                   \
  /* the processor module: Win32_Processor (MaxClockSpeed is a field of \
     the sampling cycle); Manufacturer and Name are CPUManufacturer and \
     CPUName here, apart from the report's Manufacturer */              \
  X(double, L2CacheSize, 0)                                             \
  X(double, L2CacheSpeed, 0)                                            \
  X(double, LoadPercentage, 0)                                          \
  X(Text, CPUManufacturer, "")                                          \
  X(Text, CPUName, "")                                                  \
  X(double, ProcessorType, 0)
