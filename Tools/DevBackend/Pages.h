#pragma once

#include "DevBackend/HttpMessage.h"

namespace devbackend {

/// The pages in the role of the web app and the product's site: `/`, `/interviews/<id>`,
/// `/auth/reset-password`, `/privacy-policy`. Each comes whole, without further resources. Any
/// other path gets a page that says so, with status 404.
[[nodiscard]] HttpResponse pageFor(const HttpRequest& request);

} // namespace devbackend
