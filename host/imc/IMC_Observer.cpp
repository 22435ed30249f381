#include "imc/IMC_Observer.h"

IMC_Observer::~IMC_Observer() = default;
