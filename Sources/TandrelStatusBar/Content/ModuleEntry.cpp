// What the program looks for in the library.

#include "Content/AppUpdater.h"
#include "Content/PopoverContent.h"
#include "Doctor/Doctor.h"
#include "UpdaterRequest.h"

#include <QtGlobal>

extern "C" Q_DECL_EXPORT tandrel::AppContent*
tandrelMakeAppContent(const tandrel::AppContent::Request& request) {
    return new tandrel::PopoverContent(request);
}

extern "C" Q_DECL_EXPORT tandrel::UpdaterController*
tandrelMakeUpdater(const tandrel::UpdaterRequest& request) {
    return new tandrel::AppUpdater({request.feedURL, request.publicKey, request.installedVersion},
                                   request.clock, request.urlOpener);
}

extern "C" Q_DECL_EXPORT int tandrelRunDoctor(const std::string& backendURL,
                                              tandrel::doctor::Format format) {
    return tandrel::doctor::runDoctor(backendURL, format);
}
