// The table of the demultiplexer's server: the demultiplexer and no other class.
#include <iterator>

#include "baseclasses/class_factory.h"
#include "filter/mkv_filter.h"
#include "filter/registration.h"
#include "published/component.h"

CFactoryTemplate g_Templates[] = {
    {vantor::kFilterName, &vantor::kClsidMkvDmx, vantor::CVXMkvDmx::CreateInstance, nullptr, &vantor::kFilterSetup},
};
const vantor::ServerSetup vantor::kServer = {};
int g_cTemplates = static_cast<int>(std::size(g_Templates));
