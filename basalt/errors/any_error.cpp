#include "basalt/errors/any_error.h"

// The destructors are the key functions: the vtables and type information of the interfaces
// live in the library, so that clients throw and catch the same types.
TRELL_o::AnyErrorInsert::~AnyErrorInsert() = default;

TRELL_o::AnyError::~AnyError() = default;
