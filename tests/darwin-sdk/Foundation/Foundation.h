/* Declarations of the Foundation classes used by this project, for Objective-C++. */
#ifndef _FOUNDATION_FOUNDATION_H
#define _FOUNDATION_FOUNDATION_H

typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef bool BOOL;
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr

#define NS_ENUM(_type, _name) \
    enum _name : _type _name; \
    enum _name : _type
#define API_AVAILABLE(...)

#pragma clang assume_nonnull begin

@class Protocol;

@protocol NSObject
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
- (instancetype)init;
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

@interface NSString : NSObject
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@end

@interface NSData : NSObject
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
@end

@class NSXPCConnection;
@class NSXPCListener;

@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@end

@protocol NSXPCListenerDelegate <NSObject>
@optional
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection;
@end

@interface NSXPCListener : NSObject
- (instancetype)initWithMachServiceName:(NSString*)name;
@property(nullable, weak) id<NSXPCListenerDelegate> delegate;
- (void)resume;
- (void)invalidate;
@end

@interface NSXPCConnection : NSObject
@property(nullable, retain) NSXPCInterface* exportedInterface;
@property(nullable, retain) id exportedObject;
@property(nullable, copy) void (^invalidationHandler)(void);
- (void)resume;
- (void)invalidate;
- (void)setCodeSigningRequirement:(NSString*)requirement API_AVAILABLE(macos(13.0));
@end

#pragma clang assume_nonnull end

#endif
