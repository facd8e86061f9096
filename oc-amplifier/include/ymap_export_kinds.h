// Included at the top of the lists of exports: what EXPORT(kind, name, row) expands to. The including file defines
// EXPORT itself to treat every function alike, or DEFINE_<kind>(name, row) for the kinds that it defines; the others
// expand to nothing. Without include guard on purpose.
//
// clang-format off
//   kind                                         defined by: OpenConfig side   native side
//   Walker                                       ..._parser.cpp                ymap_native_parser.h
//   AugmentParser                                ..._augment_man.cpp           ymap_native_parser.h
//   QuietAugmentParser                           -                             ymap_native_parser.h
//   ContainerHandler, ListHandler, LeafHandler   ..._auto.cpp                  ymap_native_handlers.h
//   TextLeafHandler                              ..._auto.cpp                  -
//   TracedLeafHandler, Default..., Quiet...      -                             ymap_native_handlers.h
//   ...Alias                                     -                             ymap_native_handlers.h
//   Converter                                    ..._man.cpp                   ymap_native_converters.h
//   ...ByHand                                    written out, each in the file of its module and role
// clang-format on
#ifndef EXPORT
#define EXPORT(kind, name, row) DEFINE_##kind(name, row)
#endif
#ifndef DEFINE_Walker
#define DEFINE_Walker(name, row)
#endif
#ifndef DEFINE_AugmentParser
#define DEFINE_AugmentParser(name, row)
#endif
#ifndef DEFINE_QuietAugmentParser
#define DEFINE_QuietAugmentParser(name, row)
#endif
#ifndef DEFINE_AugmentParserByHand
#define DEFINE_AugmentParserByHand(name, row)
#endif
#ifndef DEFINE_ContainerHandler
#define DEFINE_ContainerHandler(name, row)
#endif
#ifndef DEFINE_ListHandler
#define DEFINE_ListHandler(name, row)
#endif
#ifndef DEFINE_LeafHandler
#define DEFINE_LeafHandler(name, row)
#endif
#ifndef DEFINE_TracedLeafHandler
#define DEFINE_TracedLeafHandler(name, row)
#endif
#ifndef DEFINE_TextLeafHandler
#define DEFINE_TextLeafHandler(name, row)
#endif
#ifndef DEFINE_ListHandlerByHand
#define DEFINE_ListHandlerByHand(name, row)
#endif
#ifndef DEFINE_DefaultContainerHandler
#define DEFINE_DefaultContainerHandler(name, row)
#endif
#ifndef DEFINE_DefaultHandler
#define DEFINE_DefaultHandler(name, row)
#endif
#ifndef DEFINE_QuietDefaultContainerHandler
#define DEFINE_QuietDefaultContainerHandler(name, row)
#endif
#ifndef DEFINE_QuietDefaultHandler
#define DEFINE_QuietDefaultHandler(name, row)
#endif
#ifndef DEFINE_ContainerAlias
#define DEFINE_ContainerAlias(name, row)
#endif
#ifndef DEFINE_ListAlias
#define DEFINE_ListAlias(name, row)
#endif
#ifndef DEFINE_LeafAlias
#define DEFINE_LeafAlias(name, row)
#endif
#ifndef DEFINE_Converter
#define DEFINE_Converter(name, row)
#endif
#ifndef DEFINE_ConverterByHand
#define DEFINE_ConverterByHand(name, row)
#endif
#ifndef DEFINE_TextConverterByHand
#define DEFINE_TextConverterByHand(name, row)
#endif
