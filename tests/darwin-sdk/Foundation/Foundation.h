/* Declarations of the Foundation classes used by this project, for Objective-C++. */
#ifndef _FOUNDATION_FOUNDATION_H
#define _FOUNDATION_FOUNDATION_H

typedef long NSInteger;

#define NS_ENUM(_type, _name) \
    enum _name : _type _name; \
    enum _name : _type

__attribute__((objc_root_class))
@interface NSObject
@end

typedef NS_ENUM(NSInteger, NSProcessInfoThermalState) {
    NSProcessInfoThermalStateNominal,
    NSProcessInfoThermalStateFair,
    NSProcessInfoThermalStateSerious,
    NSProcessInfoThermalStateCritical
};

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
@property(readonly) NSProcessInfoThermalState thermalState;
@end

#endif
