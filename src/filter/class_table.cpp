// The server's class factory table: the demultiplexer and no other class.
#include <iterator>

#include "baseclasses/class_factory.h"
#include "filter/mkv_filter.h"
#include "filter/registration.h"
#include "published/component.h"

CFactoryTemplate g_Templates[] = {
    {vantor::kFilterName, &vantor::kClsidMkvDmx, vantor::CVXMkvDmx::CreateInstance, nullptr, &vantor::kFilterSetup},
};
int g_cTemplates = static_cast<int>(std::size(g_Templates));
