#include "app/images.h"

#include <QtGlobal>

void registerImages()
{
    Q_INIT_RESOURCE(images);
    Q_INIT_RESOURCE(images2x);
}
