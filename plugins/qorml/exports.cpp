#include <new>

#include "plugins/qorml/QorMLModel.h"

void CreateQorMLModel(IQorMLModel** model) {
    *model = new (std::nothrow) qorml::QorMLModel;
}

void DestroyQorMLModel(IQorMLModel* model) {
    delete static_cast<qorml::QorMLModel*>(model);
}
