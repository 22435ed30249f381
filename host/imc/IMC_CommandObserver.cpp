#include "imc/IMC_CommandObserver.h"

IMC_CommandObserver::~IMC_CommandObserver() = default;
