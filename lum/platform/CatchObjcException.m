#import "lum/platform/CatchObjcException.h"

#import <Foundation/Foundation.h>

NSException *CatchObjCException(void (*function)(void *), void *context) {
    @try {
        function(context);
    } @catch (NSException *exception) {
        return [[exception retain] autorelease];
    }
    return nil;
}
