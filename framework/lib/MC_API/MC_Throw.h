#ifndef MC_THROW_H
#define MC_THROW_H

/**
 * The exception specification of an operation: `void open() MC_THROW((std::runtime_error));`
 *
 * An exception of another type that leaves the operation ends the process through the
 * unexpected-exception handler. C++17 removed these specifications from the language; from there on
 * the macro stands for nothing, so that clients of any language mode include the same headers. The
 * specification is no part of a symbol's name: both kinds link.
 */
#if __cplusplus < 201703L
// A client can't act on the warning that these specifications are deprecated: the contract needs
// them.
#pragma GCC system_header
#define MC_THROW(types) throw types
#else
#define MC_THROW(types)
#endif

#endif
