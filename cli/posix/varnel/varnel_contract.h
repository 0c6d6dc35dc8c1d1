// Outside Windows, in the place of the generated contract: there are no interfaces.
#pragma once
