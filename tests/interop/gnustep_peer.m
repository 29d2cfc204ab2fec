/* An independent peer for zeva's keyed archives, on GNUstep's Foundation.
 *
 * Minimal model classes with zeva's class names, each archiving exactly the
 * keys, in the order and with the coder calls that zeva's classes use, and
 * nothing else of the model. Two commands:
 *
 *   gnustep_peer dump FILE              unarchive FILE and print every value
 *   gnustep_peer copy IN OUT xml|binary unarchive IN and archive it again
 *
 * The dump is one line per value, indented by depth. A model object prints
 * as "Class #n" the first time it is met and "Class #n again" after that, so
 * shared objects show. Floats print with %.9g, doubles with %.17g, dates as
 * seconds since 2001-01-01 (%.17g), texts in quotation marks, absent objects
 * as null. The zeva side prints the same form from its own objects.
 */
#import <Foundation/Foundation.h>
#include <stdio.h>

static void setCopy(NSString **field, NSString *value) {
  if (*field == value) return;
  NSString *old = *field;
  *field = [value copy];
  [old release];
}

static void setShared(id *field, id value) {
  if (*field == value) return;
  id old = *field;
  *field = [value retain];
  [old release];
}

@interface KWOObject : NSObject <NSCoding>
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth;
@end

@implementation KWOObject
- (void)encodeWithCoder:(NSCoder *)coder {
  (void)coder;
}
- (id)initWithCoder:(NSCoder *)coder {
  (void)coder;
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  (void)seen;
  (void)depth;
}
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

static void dumpFloat(const char *key, float value, int depth) {
  indent(depth);
  printf("%s: %.9g\n", key, (double)value);
}

static void dumpDouble(const char *key, double value, int depth) {
  indent(depth);
  printf("%s: %.17g\n", key, value);
}

static void dumpInteger(const char *key, long value, int depth) {
  indent(depth);
  printf("%s: %ld\n", key, value);
}

static void dumpValue(id value, NSMutableArray *seen, int depth) {
  if (value == nil) {
    printf("null\n");
  } else if ([value isKindOfClass:[NSString class]]) {
    printf("\"%s\"\n", [value UTF8String]);
  } else if ([value isKindOfClass:[NSDate class]]) {
    printf("date %.17g\n", [value timeIntervalSinceReferenceDate]);
  } else if ([value isKindOfClass:[NSNumber class]]) {
    printf("number %s\n", [[value description] UTF8String]);
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

/* ---- units and quantities ---------------------------------------------- */

@interface ZEVAUnit : KWOObject {
  int _the_unit_base;
  NSArray *_elements;
  long _power;
  NSString *_name;
  double _multi_factor;
  long _exponent;
}
@end

@implementation ZEVAUnit
- (void)dealloc {
  setShared(&_elements, nil);
  setCopy(&_name, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeObject:[NSNumber numberWithLong:_the_unit_base] forKey:@"_the_unit_base"];
  [coder encodeObject:_elements forKey:@"_elements"];
  [coder encodeObject:[NSNumber numberWithLong:_power] forKey:@"_power"];
  [coder encodeObject:_name forKey:@"_name"];
  [coder encodeDouble:_multi_factor forKey:@"_multi_factor"];
  [coder encodeObject:[NSNumber numberWithLong:_exponent] forKey:@"_exponent"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  _the_unit_base = (int)[[coder decodeObjectForKey:@"_the_unit_base"] longValue];
  setShared(&_elements, [coder decodeObjectForKey:@"_elements"]);
  _power = [[coder decodeObjectForKey:@"_power"] longValue];
  setCopy(&_name, [coder decodeObjectForKey:@"_name"]);
  _multi_factor = [coder decodeDoubleForKey:@"_multi_factor"];
  _exponent = [[coder decodeObjectForKey:@"_exponent"] longValue];
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpInteger("_the_unit_base", _the_unit_base, depth);
  dumpField("_elements", _elements, seen, depth);
  dumpInteger("_power", _power, depth);
  dumpField("_name", _name, seen, depth);
  dumpDouble("_multi_factor", _multi_factor, depth);
  dumpInteger("_exponent", _exponent, depth);
}
@end

@interface ZEVAQuantity : KWOObject {
  double _value;
  ZEVAUnit *_the_units;
}
@end

@implementation ZEVAQuantity
- (void)dealloc {
  setShared(&_the_units, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeDouble:_value forKey:@"_value"];
  [coder encodeObject:_the_units forKey:@"_the_units"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  _value = [coder decodeDoubleForKey:@"_value"];
  setShared(&_the_units, [coder decodeObjectForKey:@"_the_units"]);
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpDouble("_value", _value, depth);
  dumpField("_the_units", _the_units, seen, depth);
}
@end

/* ---- time and place ------------------------------------------------------ */

@interface ZEVATime : KWOObject {
  NSString *_date_time;
  long _leap_seconds_version;
  NSDate *nsDate;
  double epochTime;
}
@end

@implementation ZEVATime
- (void)dealloc {
  setCopy(&_date_time, nil);
  setShared(&nsDate, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeObject:_date_time forKey:@"_date_time"];
  [coder encodeObject:[NSNumber numberWithLong:_leap_seconds_version] forKey:@"_leap_seconds_version"];
  [coder encodeObject:nsDate forKey:@"nsDate"];
  [coder encodeDouble:epochTime forKey:@"epochTime"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  setCopy(&_date_time, [coder decodeObjectForKey:@"_date_time"]);
  _leap_seconds_version = [[coder decodeObjectForKey:@"_leap_seconds_version"] longValue];
  setShared(&nsDate, [coder decodeObjectForKey:@"nsDate"]);
  epochTime = [coder decodeDoubleForKey:@"epochTime"];
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpField("_date_time", _date_time, seen, depth);
  dumpInteger("_leap_seconds_version", _leap_seconds_version, depth);
  dumpField("nsDate", nsDate, seen, depth);
  dumpDouble("epochTime", epochTime, depth);
}
@end

@interface ZEVALocation : KWOObject {
  float _latitude;
  float _longitude;
  ZEVAQuantity *_elevation;
  ZEVAQuantity *_depth;
  int _type;
}
@end

@implementation ZEVALocation
- (void)dealloc {
  setShared(&_elevation, nil);
  setShared(&_depth, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeObject:[NSNumber numberWithLong:_type] forKey:@"_type"];
  [coder encodeFloat:_latitude forKey:@"_latitude"];
  [coder encodeFloat:_longitude forKey:@"_longitude"];
  [coder encodeObject:_elevation forKey:@"_elevation"];
  [coder encodeObject:_depth forKey:@"_depth"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  _type = (int)[[coder decodeObjectForKey:@"_type"] longValue];
  _latitude = [coder decodeFloatForKey:@"_latitude"];
  _longitude = [coder decodeFloatForKey:@"_longitude"];
  setShared(&_elevation, [coder decodeObjectForKey:@"_elevation"]);
  setShared(&_depth, [coder decodeObjectForKey:@"_depth"]);
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpFloat("_latitude", _latitude, depth);
  dumpFloat("_longitude", _longitude, depth);
  dumpField("_elevation", _elevation, seen, depth);
  dumpField("_depth", _depth, seen, depth);
  dumpInteger("_type", _type, depth);
}
@end

/* ---- origins ------------------------------------------------------------- */

@interface ZEVAMagnitude : KWOObject {
  NSString *_type;
  float _value;
  NSString *_contributor;
}
@end

@implementation ZEVAMagnitude
- (void)dealloc {
  setCopy(&_type, nil);
  setCopy(&_contributor, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeObject:_type forKey:@"_type"];
  [coder encodeFloat:_value forKey:@"_value"];
  [coder encodeObject:_contributor forKey:@"_contributor"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  setCopy(&_type, [coder decodeObjectForKey:@"_type"]);
  _value = [coder decodeFloatForKey:@"_value"];
  setCopy(&_contributor, [coder decodeObjectForKey:@"_contributor"]);
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpField("_type", _type, seen, depth);
  dumpFloat("_value", _value, depth);
  dumpField("_contributor", _contributor, seen, depth);
}
@end

@interface ZEVAOrigin : KWOObject {
  NSString *_id;
  NSString *_catalog;
  NSString *_contributor;
  ZEVATime *_origin_time;
  ZEVALocation *_my_location;
  NSArray *_magnitudes;
  NSArray *_parm_ids;
  NSString *flinnEngdahlString;
  int myGreg;
  int mySreg;
}
@end

@implementation ZEVAOrigin
- (void)dealloc {
  setCopy(&_id, nil);
  setCopy(&_catalog, nil);
  setCopy(&_contributor, nil);
  setShared(&_origin_time, nil);
  setShared(&_my_location, nil);
  setShared(&_magnitudes, nil);
  setShared(&_parm_ids, nil);
  setCopy(&flinnEngdahlString, nil);
  [super dealloc];
}
- (void)encodeWithCoder:(NSCoder *)coder {
  [super encodeWithCoder:coder];
  [coder encodeObject:_id forKey:@"_id"];
  [coder encodeObject:_catalog forKey:@"_catalog"];
  [coder encodeObject:_contributor forKey:@"_contributor"];
  [coder encodeObject:_origin_time forKey:@"_origin_time"];
  [coder encodeObject:_my_location forKey:@"_my_location"];
  [coder encodeObject:_magnitudes forKey:@"_magnitudes"];
  [coder encodeObject:_parm_ids forKey:@"_parm_ids"];
  [coder encodeObject:flinnEngdahlString forKey:@"flinnEngdahlString"];
  [coder encodeInt:myGreg forKey:@"myGreg"];
  [coder encodeInt:mySreg forKey:@"mySreg"];
}
- (id)initWithCoder:(NSCoder *)coder {
  if ((self = [super initWithCoder:coder]) == nil) return nil;
  setCopy(&_id, [coder decodeObjectForKey:@"_id"]);
  setCopy(&_catalog, [coder decodeObjectForKey:@"_catalog"]);
  setCopy(&_contributor, [coder decodeObjectForKey:@"_contributor"]);
  setShared(&_origin_time, [coder decodeObjectForKey:@"_origin_time"]);
  setShared(&_my_location, [coder decodeObjectForKey:@"_my_location"]);
  setShared(&_magnitudes, [coder decodeObjectForKey:@"_magnitudes"]);
  setShared(&_parm_ids, [coder decodeObjectForKey:@"_parm_ids"]);
  setCopy(&flinnEngdahlString, [coder decodeObjectForKey:@"flinnEngdahlString"]);
  myGreg = [coder decodeIntForKey:@"myGreg"];
  mySreg = [coder decodeIntForKey:@"mySreg"];
  return self;
}
- (void)dumpFieldsTo:(NSMutableArray *)seen depth:(int)depth {
  dumpField("_id", _id, seen, depth);
  dumpField("_catalog", _catalog, seen, depth);
  dumpField("_contributor", _contributor, seen, depth);
  dumpField("_origin_time", _origin_time, seen, depth);
  dumpField("_my_location", _my_location, seen, depth);
  dumpField("_magnitudes", _magnitudes, seen, depth);
  dumpField("_parm_ids", _parm_ids, seen, depth);
  dumpField("flinnEngdahlString", flinnEngdahlString, seen, depth);
  dumpInteger("myGreg", myGreg, depth);
  dumpInteger("mySreg", mySreg, depth);
}
@end

/* ---- commands ------------------------------------------------------------ */

static id readArchive(const char *path) {
  NSData *data = [NSData dataWithContentsOfFile:[NSString stringWithUTF8String:path]];
  if (data == nil) {
    fprintf(stderr, "gnustep_peer: cannot read %s\n", path);
    return nil;
  }
  id root = [NSKeyedUnarchiver unarchiveObjectWithData:data];
  if (root == nil) fprintf(stderr, "gnustep_peer: %s holds no root object\n", path);
  return root;
}

static int dumpCommand(const char *path) {
  id root = readArchive(path);
  if (root == nil) return 1;
  dumpValue(root, [NSMutableArray array], 0);
  return 0;
}

static int copyCommand(const char *in, const char *out, const char *format) {
  id root = readArchive(in);
  if (root == nil) return 1;
  NSMutableData *data = [NSMutableData data];
  NSKeyedArchiver *archiver = [[NSKeyedArchiver alloc] initForWritingWithMutableData:data];
  [archiver setOutputFormat:strcmp(format, "xml") == 0 ? NSPropertyListXMLFormat_v1_0
                                                        : NSPropertyListBinaryFormat_v1_0];
  [archiver encodeObject:root forKey:@"root"];
  [archiver finishEncoding];
  [archiver release];
  if (![data writeToFile:[NSString stringWithUTF8String:out] atomically:YES]) {
    fprintf(stderr, "gnustep_peer: cannot write %s\n", out);
    return 1;
  }
  return 0;
}

int main(int argc, char **argv) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  int status = 2;
  @try {
    if (argc == 3 && strcmp(argv[1], "dump") == 0) {
      status = dumpCommand(argv[2]);
    } else if (argc == 5 && strcmp(argv[1], "copy") == 0 &&
               (strcmp(argv[4], "xml") == 0 || strcmp(argv[4], "binary") == 0)) {
      status = copyCommand(argv[2], argv[3], argv[4]);
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
