/* An independent peer for zeva's keyed archives, on GNUstep's Foundation:
 * minimal model classes with zeva's class names, archiving exactly the keys,
 * order and coder calls of zeva's classes (never freed: a short-lived program).
 *   gnustep_peer dump FILE              print every value, one line each
 *   gnustep_peer copy IN OUT xml|binary archive IN again in that layout
 * A model object prints as "Class #n", or "Class #n again" when met before;
 * floats with %.9g, doubles and dates (seconds since 2001) with %.17g, texts
 * quoted, absent objects as null: the form the zeva side prints. */
#import <Foundation/Foundation.h>
#include <stdio.h>

@interface KWOObject : NSObject <NSCoding>
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth;
@end

@implementation KWOObject
- (void)encodeWithCoder:(NSCoder *)coder { (void)coder; }
- (id)initWithCoder:(NSCoder *)coder { (void)coder; return self; }
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth { (void)seen; (void)depth; }
@end

/* ---- printing ---------------------------------------------------------- */

static void dumpValue(id value, NSMutableArray *seen, int depth);

static void indent(int depth) {
  for (int i = 0; i < depth; i++) fputs("  ", stdout);
}

static void dumpField(const char *key, id value, NSMutableArray *seen, int depth) {
  indent(depth);
  printf("%s: ", key);
  dumpValue(value, seen, depth);
}

static void dumpValue(id value, NSMutableArray *seen, int depth) {
  if (value == nil) {
    printf("null\n");
  } else if ([value isKindOfClass:[NSString class]]) {
    printf("\"%s\"\n", [value UTF8String]);
  } else if ([value isKindOfClass:[NSDate class]]) {
    printf("date %.17g\n", [value timeIntervalSinceReferenceDate]);
  } else if ([value isKindOfClass:[NSArray class]]) {
    printf("array %lu\n", (unsigned long)[value count]);
    NSUInteger i = 0;
    for (id item in value) {
      char key[32];
      snprintf(key, sizeof key, "[%lu]", (unsigned long)i++);
      dumpField(key, item, seen, depth + 1);
    }
  } else if ([value isKindOfClass:[KWOObject class]]) {
    NSUInteger index = [seen indexOfObjectIdenticalTo:value];
    const char *name = [NSStringFromClass([value class]) UTF8String];
    if (index != NSNotFound) {
      printf("%s #%lu again\n", name, (unsigned long)index + 1);
      return;
    }
    [seen addObject:value];
    printf("%s #%lu\n", name, (unsigned long)[seen count]);
    [value dumpFieldsTo:seen depth:depth + 1];
  } else {
    printf("%s\n", [NSStringFromClass([value class]) UTF8String]);
  }
}

/* ---- the model classes ---------------------------------------------------
 *
 * Each class lists its fields as F(kind, key), in the order zeva encodes
 * them; the dump follows the same order. Kinds, by coder call:
 *   NUM    long boxed in an NSNumber, encodeObject:
 *   INT    encodeInt:          FLOAT  encodeFloat:      DOUBLE encodeDouble:
 *   STR    a copied text, encodeObject:
 *   OBJ    a shared object (model object, array, date), encodeObject:
 */

#define IVAR_NUM(k) long k;
#define IVAR_INT(k) int k;
#define IVAR_FLOAT(k) float k;
#define IVAR_DOUBLE(k) double k;
#define IVAR_STR(k) NSString *k;
#define IVAR_OBJ(k) id k;

#define ENCODE_NUM(k) [coder encodeObject:[NSNumber numberWithLong:k] forKey:@#k];
#define ENCODE_INT(k) [coder encodeInt:k forKey:@#k];
#define ENCODE_FLOAT(k) [coder encodeFloat:k forKey:@#k];
#define ENCODE_DOUBLE(k) [coder encodeDouble:k forKey:@#k];
#define ENCODE_STR(k) [coder encodeObject:k forKey:@#k];
#define ENCODE_OBJ(k) [coder encodeObject:k forKey:@#k];

#define DECODE_NUM(k) k = [[coder decodeObjectForKey:@#k] longValue];
#define DECODE_INT(k) k = [coder decodeIntForKey:@#k];
#define DECODE_FLOAT(k) k = [coder decodeFloatForKey:@#k];
#define DECODE_DOUBLE(k) k = [coder decodeDoubleForKey:@#k];
#define DECODE_STR(k) k = [[coder decodeObjectForKey:@#k] copy];
#define DECODE_OBJ(k) k = [[coder decodeObjectForKey:@#k] retain];

#define DUMP_NUM(k) indent(depth), printf(#k ": %ld\n", (long)k);
#define DUMP_INT(k) indent(depth), printf(#k ": %d\n", k);
#define DUMP_FLOAT(k) indent(depth), printf(#k ": %.9g\n", (double)k);
#define DUMP_DOUBLE(k) indent(depth), printf(#k ": %.17g\n", k);
#define DUMP_STR(k) dumpField(#k, k, seen, depth);
#define DUMP_OBJ(k) dumpField(#k, k, seen, depth);

#define IVAR(kind, k) IVAR_##kind(k)
#define ENCODE(kind, k) ENCODE_##kind(k)
#define DECODE(kind, k) DECODE_##kind(k)
#define DUMP(kind, k) DUMP_##kind(k)

#define PEER_CLASS(Name, FIELDS)                                              \
  @interface Name : KWOObject {                                               \
    FIELDS(IVAR)                                                              \
  }                                                                           \
  @end                                                                        \
  @implementation Name                                                        \
  -(void)encodeWithCoder : (NSCoder *)coder {                                 \
    [super encodeWithCoder:coder];                                            \
    FIELDS(ENCODE)                                                            \
  }                                                                           \
  -(id)initWithCoder : (NSCoder *)coder {                                     \
    if ((self = [super initWithCoder:coder]) == nil) return nil;              \
    FIELDS(DECODE)                                                            \
    return self;                                                              \
  }                                                                           \
  -(void)dumpFieldsTo : (NSMutableArray *)seen depth : (int)depth {           \
    FIELDS(DUMP)                                                              \
  }                                                                           \
  @end

#define UNIT_FIELDS(F) \
  F(NUM, _the_unit_base) F(OBJ, _elements) F(NUM, _power) F(STR, _name) \
  F(DOUBLE, _multi_factor) F(NUM, _exponent)
#define QUANTITY_FIELDS(F) F(DOUBLE, _value) F(OBJ, _the_units)
#define TIME_FIELDS(F) \
  F(STR, _date_time) F(NUM, _leap_seconds_version) F(OBJ, nsDate) F(DOUBLE, epochTime)
#define LOCATION_FIELDS(F) \
  F(NUM, _type) F(FLOAT, _latitude) F(FLOAT, _longitude) F(OBJ, _elevation) F(OBJ, _depth)
#define MAGNITUDE_FIELDS(F) F(STR, _type) F(FLOAT, _value) F(STR, _contributor)
#define ORIGIN_FIELDS(F) \
  F(STR, _id) F(STR, _catalog) F(STR, _contributor) F(OBJ, _origin_time) \
  F(OBJ, _my_location) F(OBJ, _magnitudes) F(OBJ, _parm_ids) \
  F(STR, flinnEngdahlString) F(INT, myGreg) F(INT, mySreg)

PEER_CLASS(ZEVAUnit, UNIT_FIELDS)
PEER_CLASS(ZEVAQuantity, QUANTITY_FIELDS)
PEER_CLASS(ZEVATime, TIME_FIELDS)
PEER_CLASS(ZEVALocation, LOCATION_FIELDS)
PEER_CLASS(ZEVAMagnitude, MAGNITUDE_FIELDS)
PEER_CLASS(ZEVAOrigin, ORIGIN_FIELDS)

/* ---- commands ------------------------------------------------------------ */

static id readArchive(const char *path) {
  NSData *data = [NSData dataWithContentsOfFile:[NSString stringWithUTF8String:path]];
  id root = data == nil ? nil : [NSKeyedUnarchiver unarchiveObjectWithData:data];
  if (root == nil) fprintf(stderr, "gnustep_peer: no archived root object read from %s\n", path);
  return root;
}

static int command(int argc, char **argv) {
  id root = readArchive(argv[2]);
  if (root == nil) return 1;
  if (argc == 3) {
    dumpValue(root, [NSMutableArray array], 0);
    return 0;
  }
  NSMutableData *data = [NSMutableData data];
  NSKeyedArchiver *archiver = [[NSKeyedArchiver alloc] initForWritingWithMutableData:data];
  [archiver setOutputFormat:strcmp(argv[4], "xml") == 0 ? NSPropertyListXMLFormat_v1_0
                                                         : NSPropertyListBinaryFormat_v1_0];
  [archiver encodeObject:root forKey:@"root"];
  [archiver finishEncoding];
  [archiver release];
  if (![data writeToFile:[NSString stringWithUTF8String:argv[3]] atomically:YES]) {
    fprintf(stderr, "gnustep_peer: cannot write %s\n", argv[3]);
    return 1;
  }
  return 0;
}

int main(int argc, char **argv) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  int status = 2;
  @try {
    if ((argc == 3 && strcmp(argv[1], "dump") == 0) ||
        (argc == 5 && strcmp(argv[1], "copy") == 0 && (strcmp(argv[4], "xml") == 0 || strcmp(argv[4], "binary") == 0))) {
      status = command(argc, argv);
    } else {
      fprintf(stderr, "usage: gnustep_peer dump FILE | copy IN OUT xml|binary\n");
    }
  } @catch (NSException *e) {
    fprintf(stderr, "gnustep_peer: %s: %s\n", [[e name] UTF8String], [[e reason] UTF8String]);
    status = 1;
  }
  fflush(stdout);
  [pool release];
  return status;
}
