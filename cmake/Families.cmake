# The families of the library, in order of dependency: a family includes its own headers and those of the families
# above it. What is compiled, installed and tested comes from these lists, and CheckFamilies.cmake holds the includes
# and the pages to them. A new class goes into the highest family that has all it needs above it.

# HEADERS are installed, and GENERATED ones too, which the build makes from NAME.in; INTERNAL ones are not. TESTS stand
# in tests/.
function(ostrel_family name)
  cmake_parse_arguments(PARSE_ARGV 1 family "" "TITLE" "HEADERS;GENERATED;INTERNAL;SOURCES;TESTS")
  set(OSTREL_FAMILIES ${OSTREL_FAMILIES} ${name} PARENT_SCOPE)
  set(OSTREL_${name}_TITLE ${family_TITLE} PARENT_SCOPE)
  foreach(kind HEADERS GENERATED INTERNAL SOURCES TESTS)
    set(OSTREL_${name}_${kind} ${family_${kind}} PARENT_SCOPE)
    set(OSTREL_ALL_${kind} ${OSTREL_ALL_${kind}} ${family_${kind}} PARENT_SCOPE)
  endforeach()
endfunction()

ostrel_family(Base TITLE "Base"
  HEADERS
    ostrel/Assert.h
    ostrel/AtomicCounter.h
    ostrel/AutoPtr.h
    ostrel/Export.h
    ostrel/Mutex.h
    ostrel/Unaligned.h
  GENERATED
    ostrel/Config.h
    ostrel/Version.h
  INTERNAL
    ostrel/internal/CancellationPause.h
    ostrel/internal/CopyBytes.h
    ostrel/internal/Descriptor.h
    ostrel/internal/Narrowing.h
    ostrel/internal/Nesting.h
    ostrel/internal/RestoredValue.h
  SOURCES
    ostrel/Assert.cpp
    ostrel/Descriptor.cpp
    ostrel/Mutex.cpp
    ostrel/Version.cpp
  TESTS
    MutexTest.cpp
)

ostrel_family(Foundations TITLE "Foundations"
  HEADERS
    ostrel/CallStack.h
    ostrel/CreateMixins.h
    ostrel/ErrorReporter.h
    ostrel/ErrorServer.h
    ostrel/Report.h
    ostrel/SharedPtr.h
    ostrel/Singleton.h
    ostrel/SysCalls.h
    ostrel/WeakPtr.h
  SOURCES
    ostrel/CallStack.cpp
    ostrel/ErrorServer.cpp
    ostrel/Report.cpp
    ostrel/SysCalls.cpp
  TESTS
    CallStackTest.cpp
    ErrorServerTest.cpp
    PublicHeadersTest.cpp
    SmartPointerTest.cpp
    SysCallsTest.cpp
)

ostrel_family(Text TITLE "Text"
  HEADERS
    ostrel/DynamicString.h
    ostrel/FixedString.h
    ostrel/ReadableString.h
    ostrel/StringUtils.h
    ostrel/string_utils_c.h
    ostrel/WritableString.h
  INTERNAL
    ostrel/internal/CaseFolding.h
    ostrel/internal/Utf8Bytes.h
  SOURCES
    ostrel/CaseFolding.cpp
    ostrel/DynamicString.cpp
    ostrel/ReadableString.cpp
    ostrel/StringUtils.cpp
    ostrel/StringUtilsCompare.cpp
    ostrel/StringUtilsConversion.cpp
    ostrel/WritableString.cpp
  TESTS
    StringTest.cpp
    StringUtilsTest.cpp
)

ostrel_family(Containers TITLE "Containers and memory"
  HEADERS
    ostrel/ArrayAllocation.h
    ostrel/ArrayList.h
    ostrel/AutoPtrArray.h
    ostrel/DynamicLookupTable.h
    ostrel/HeapStack.h
    ostrel/List.h
    ostrel/MemPool.h
  SOURCES
    ostrel/DynamicLookupTable.cpp
    ostrel/HeapStack.cpp
    ostrel/List.cpp
    ostrel/MemPool.cpp
  TESTS
    ArrayListTest.cpp
    AutoPtrArrayTest.cpp
    HeapStackTest.cpp
    ListTest.cpp
    LookupTableTest.cpp
    MemPoolTest.cpp
)

ostrel_family(Concurrency TITLE "Concurrency"
  HEADERS
    ostrel/Conditional.h
    ostrel/CppSemaphore.h
    ostrel/CppTimer.h
    ostrel/FifoBuffer.h
    ostrel/Lockable.h
    ostrel/ReadWriteLock.h
    ostrel/Runnable.h
    ostrel/SocketPair.h
    ostrel/Thread.h
    ostrel/Threadable.h
  INTERNAL
    ostrel/internal/PatientLock.h
  SOURCES
    ostrel/Conditional.cpp
    ostrel/CppSemaphore.cpp
    ostrel/CppTimer.cpp
    ostrel/FifoBuffer.cpp
    ostrel/Lockable.cpp
    ostrel/PatientLock.cpp
    ostrel/ReadWriteLock.cpp
    ostrel/Runnable.cpp
    ostrel/SocketPair.cpp
    ostrel/Thread.cpp
    ostrel/Threadable.cpp
  TESTS
    ConditionalTest.cpp
    FifoBufferTest.cpp
    ReadWriteLockTest.cpp
    SemaphoreTest.cpp
    SocketPairTest.cpp
    ThreadTest.cpp
    TimerTest.cpp
)

ostrel_family(Streams TITLE "Streams"
  HEADERS
    ostrel/BufferedInputStream.h
    ostrel/BufferedOutputStream.h
    ostrel/ByteArrayInputStream.h
    ostrel/ByteArrayOutputStream.h
    ostrel/FdInputStream.h
    ostrel/FileInputStream.h
    ostrel/FileOutputStream.h
    ostrel/InputStream.h
    ostrel/MimeInputStream.h
    ostrel/OutputStream.h
  SOURCES
    ostrel/BufferedInputStream.cpp
    ostrel/BufferedOutputStream.cpp
    ostrel/ByteArrayInputStream.cpp
    ostrel/ByteArrayOutputStream.cpp
    ostrel/FdInputStream.cpp
    ostrel/FileInputStream.cpp
    ostrel/FileOutputStream.cpp
    ostrel/InputStream.cpp
    ostrel/MimeInputStream.cpp
    ostrel/OutputStream.cpp
  TESTS
    MimeInputStreamTest.cpp
    StreamTest.cpp
)

ostrel_family(Serialization TITLE "Serialization interfaces"
  HEADERS
    ostrel/Deserializer.h
    ostrel/Serializable.h
    ostrel/Serializer.h
    ostrel/StructBuilder.h
  SOURCES
    ostrel/Deserializer.cpp
    ostrel/Serializable.cpp
    ostrel/Serializer.cpp
    ostrel/StructBuilder.cpp
)

ostrel_family(DataObjects TITLE "Data objects"
  HEADERS
    ostrel/DataObject.h
    ostrel/DataObjectBuilder.h
    ostrel/DataObjectHandler.h
    ostrel/DataObjectListSorter.h
  SOURCES
    ostrel/DataObject.cpp
    ostrel/DataObjectBuilder.cpp
    ostrel/DataObjectCollections.cpp
    ostrel/DataObjectFormat.cpp
    ostrel/DataObjectHandler.cpp
    ostrel/DataObjectListSorter.cpp
    ostrel/DataObjectScalars.cpp
  TESTS
    DataObjectBuilderTest.cpp
    DataObjectFormatTest.cpp
    DataObjectHandlerTest.cpp
    DataObjectListSorterTest.cpp
    DataObjectTest.cpp
)

ostrel_family(StructuredText TITLE "Structured text"
  HEADERS
    json/JsonData.h
    json/JsonDeserializer.h
    json/JsonError.h
    json/JsonGen.h
    json/JsonParser.h
    json/JsonSerializer.h
    ostrel/TextGenerator.h
    ostrel/TextSerializer.h
    xml/XmlGen.h
    xml/XmlSerializer.h
  INTERNAL
    json/internal/JsonBlock.h
    json/internal/JsonNumber.h
    json/internal/JsonPlace.h
    json/internal/JsonReader.h
    json/internal/JsonScratch.h
    ostrel/internal/ByteBlock.h
    ostrel/internal/EscapedPiece.h
    ostrel/internal/FixedPoint.h
    ostrel/internal/IntegerPiece.h
    ostrel/internal/TextPieces.h
    ostrel/internal/TextSerializerImpl.h
    ostrel/internal/Wide.h
  SOURCES
    json/JsonData.cpp
    json/JsonDeserializer.cpp
    json/JsonError.cpp
    json/JsonGen.cpp
    json/JsonNumber.cpp
    json/JsonParser.cpp
    json/JsonPlace.cpp
    json/JsonReader.cpp
    json/JsonScratch.cpp
    json/JsonSerializer.cpp
    ostrel/EscapedPiece.cpp
    ostrel/FixedPoint.cpp
    ostrel/IntegerPiece.cpp
    ostrel/TextGenerator.cpp
    xml/XmlGen.cpp
    xml/XmlSerializer.cpp
  TESTS
    EscapedPieceTest.cpp
    JsonDataTest.cpp
    JsonDeserializerTest.cpp
    JsonGenTest.cpp
    JsonParserTest.cpp
    LocaleTest.cpp
    TextSerializerTest.cpp
    XmlGenTest.cpp
)

ostrel_family(XmlInput TITLE "XML input"
  HEADERS
    ostrel/DataObjectSaxHandler.h
    ostrel/SAXParser.h
    ostrel/XMLFileProcessor.h
    ostrel/XMLParser.h
    ostrel/XmlSegment.h
    ostrel/XmlStreamFilter.h
  INTERNAL
    ostrel/internal/XmlEventTexts.h
  SOURCES
    ostrel/DataObjectSaxHandler.cpp
    ostrel/SAXParser.cpp
    ostrel/XMLFileProcessor.cpp
    ostrel/XMLParser.cpp
    ostrel/XmlEventTexts.cpp
    ostrel/XmlSegment.cpp
    ostrel/XmlStreamFilter.cpp
    ostrel/XmlTagScanner.cpp
  TESTS
    DataObjectSaxHandlerTest.cpp
    SAXParserTest.cpp
    XmlSegmentTest.cpp
)

ostrel_family(PropertyMaps TITLE "Property maps"
  HEADERS
    ostrel/DynamicPropertyMap.h
    ostrel/PropertyMap.h
    ostrel/PropertyMapView.h
    ostrel/property_map.h
    ostrel/property_map_types.h
  INTERNAL
    ostrel/internal/PropertyMapEntry.h
    ostrel/internal/PropertyMapTable.h
  SOURCES
    ostrel/DynamicPropertyMap.cpp
    ostrel/PropertyMap.cpp
    ostrel/PropertyMapChange.cpp
    ostrel/PropertyMapCheck.cpp
    ostrel/PropertyMapDump.cpp
    ostrel/PropertyMapForm.cpp
    ostrel/PropertyMapFormReader.cpp
    ostrel/PropertyMapGet.cpp
    ostrel/property_map.cpp
  TESTS
    DynamicPropertyMapTest.cpp
    PropertyMapCInterfaceTest.cpp
    PropertyMapCheckTest.cpp
    PropertyMapFormTest.cpp
    PropertyMapTest.cpp
    PropertyMapViewTest.cpp
    property_map_calls.c
)

ostrel_family(Observables TITLE "Observables"
  HEADERS
    ostrel/Observable/CObservable.h
    ostrel/Observable/Observable.h
    ostrel/Observable/Observer.h
    ostrel/Observable/StaticModel.h
    ostrel/Observable/observable_c.h
    ostrel/Observable/observable_types.h
  INTERNAL
    ostrel/internal/EventEntry.h
    ostrel/internal/ObserverWord.h
  SOURCES
    ostrel/Observable/Observable.cpp
    ostrel/Observable/ObserverWord.cpp
    ostrel/Observable/StaticModel.cpp
    ostrel/Observable/observable_c.cpp
  TESTS
    ObservableCalls.c
    AllocationSweepTest.cpp
    ChangingBytesTest.cpp
    LyingStreamTest.cpp
    ObservableTest.cpp
    StaticModelTest.cpp
    SystemCallSweepTest.cpp
)
