// Apart from the rest of registration, since only a server has the table.
#include "baseclasses/dll_setup.h"

HRESULT AMovieDllRegisterServer2(BOOL bRegister) {
  vantor::platform::RegistrationSystem* pSystem = vantor::platform::SystemRegistration();
  return pSystem ? AMovieDllRegisterTemplates(g_Templates, g_cTemplates, bRegister, *pSystem) : E_NOTIMPL;
}
