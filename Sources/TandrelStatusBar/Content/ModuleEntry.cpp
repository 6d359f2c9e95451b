// What the program looks for in the library.

#include "Content/PopoverContent.h"

#include <QtGlobal>

extern "C" Q_DECL_EXPORT tandrel::AppContent*
tandrelMakeAppContent(const tandrel::AppContent::Request& request) {
    return new tandrel::PopoverContent(request);
}
