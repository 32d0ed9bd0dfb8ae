// The table of the complete demultiplexer's server. Linked by itself, it takes the place of the other one.
#include <iterator>

#include "baseclasses/class_factory.h"
#include "filter/mkv_filter.h"
#include "filter/registration.h"
#include "published/component.h"

CFactoryTemplate g_Templates[] = {
    {vantor::kMkvDmxComplete.filterName, &vantor::kMkvDmxComplete.classId, vantor::CVXMkvDmx::CreateCompleteInstance,
     nullptr, &vantor::kCompleteFilterSetup},
};
const vantor::ServerSetup vantor::kServer = {vantor::kMkvDmxComplete.typeLibraryId, vantor::kClsidMkvDmx};
int g_cTemplates = static_cast<int>(std::size(g_Templates));
